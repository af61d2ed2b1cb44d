#include "InstallerCore/support/CheckedArithmetic.h"

#include <cstdlib>

namespace InstallerCore {

std::int64_t checkedAdd(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (__builtin_add_overflow(a, b, &result)) {
        std::abort();
    }
    return result;
}

std::int64_t checkedSubtract(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (__builtin_sub_overflow(a, b, &result)) {
        std::abort();
    }
    return result;
}

std::int64_t checkedMultiply(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (__builtin_mul_overflow(a, b, &result)) {
        std::abort();
    }
    return result;
}

} // namespace InstallerCore
