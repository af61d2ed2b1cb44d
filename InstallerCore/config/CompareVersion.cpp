#include "InstallerCore/config/CompareVersion.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/Ascii.h"
#include "InstallerCore/support/ParseInteger.h"
#include "InstallerCore/support/Split.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace InstallerCore {

namespace {

constexpr std::size_t componentCount = 3;
using Parts = std::array<std::int64_t, componentCount>;

bool areDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), Ascii::isDigit);
}

Parts parts(std::string_view version) {
    const auto pieces = split(version, '.', EmptyPieces::keep);
    require(pieces.size() == componentCount && std::all_of(pieces.begin(), pieces.end(), areDigits),
            ErrorText::invalidVersion);
    std::vector<std::int64_t> values;
    for (const std::string_view piece : pieces) {
        // A component beyond the range is dropped here and missed below.
        if (const auto value = parseInteger(piece)) {
            values.push_back(*value);
        }
    }
    require(values.size() == componentCount, ErrorText::invalidVersion);
    return {values[0], values[1], values[2]};
}

} // namespace

int compareVersion(std::string_view a, std::string_view b) {
    const Parts first = parts(a);
    const Parts second = parts(b);
    if (first == second) {
        return 0;
    }
    return first < second ? -1 : 1;
}

} // namespace InstallerCore
