#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>

namespace InstallerCore {

// The number of sizeof(Number) bytes at that offset, which must be within the bytes.
template <typename Number>
[[nodiscard]] Number bigEndian(ByteView bytes, std::size_t offset) {
    Number result = 0;
    for (const std::byte byte : bytes.subspan(offset, sizeof(Number))) {
        result = static_cast<Number>((result << 8U) | std::to_integer<Number>(byte));
    }
    return result;
}

// Whether a stretch lies within [0, whole), without an overflow.
[[nodiscard]] constexpr bool isWithin(std::uint64_t offset, std::uint64_t length, std::uint64_t whole) {
    return offset <= whole && length <= whole - offset;
}

} // namespace InstallerCore
