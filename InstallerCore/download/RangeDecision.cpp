#include "InstallerCore/download/RangeDecision.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/CheckedArithmetic.h"
#include "InstallerCore/support/ParseInteger.h"
#include "InstallerCore/support/Split.h"

#include <string_view>
#include <vector>

namespace InstallerCore {

namespace {

constexpr int ok = 200;
constexpr int partialContent = 206;
constexpr std::string_view unit = "bytes ";

// The two pieces around a separator. Runs of separators count as one; those at the ends do not count.
std::optional<std::pair<std::string_view, std::string_view>> splitInTwo(std::string_view text,
                                                                        char separator) {
    const std::vector<std::string_view> pieces = split(text, separator, EmptyPieces::drop);
    if (pieces.size() != 2) {
        return std::nullopt;
    }
    return std::pair(pieces[0], pieces[1]);
}

// The text of the range's last position, when the header starts at the offset and gives the total.
std::optional<std::string_view> endOfRange(std::string_view header, std::int64_t offset, std::int64_t total) {
    header.remove_prefix(unit.size());
    const auto rangeAndTotal = splitInTwo(header, '/');
    if (!rangeAndTotal || parseInteger(rangeAndTotal->second) != total) {
        return std::nullopt;
    }
    const auto startAndEnd = splitInTwo(rangeAndTotal->first, '-');
    if (!startAndEnd || parseInteger(startAndEnd->first) != offset) {
        return std::nullopt;
    }
    return startAndEnd->second;
}

} // namespace

RangeDecision rangeDecision(int status, std::int64_t offset, const std::optional<std::string>& contentRange,
                            std::int64_t total) {
    if (status == ok) {
        return RangeDecision::restart;
    }
    require(status == partialContent, ErrorText::httpStatus(status));
    require(contentRange && contentRange->starts_with(unit), ErrorText::invalidContentRange);
    const auto endText = endOfRange(*contentRange, offset, total);
    if (!endText) {
        throw InstallerError::message(ErrorText::invalidResumedRange(offset, total, *contentRange));
    }
    const auto end = parseInteger(*endText);
    require(end.has_value(), ErrorText::invalidRangeEnd);
    require(*end == checkedSubtract(total, 1), ErrorText::incompleteResponseRange);
    return RangeDecision::append;
}

} // namespace InstallerCore
