#include "hosts/shared/PropertyListDocument.h"

#include "InstallerCore/support/Ascii.h"
#include "InstallerCore/support/UnicodeText.h"
#include "hosts/shared/PropertyListShape.h"

#include <algorithm>

namespace InstallerCore {

namespace {

constexpr std::size_t longestDocument = std::size_t{16} << 20U;
constexpr PropertyListLimits limits{.depth = 256, .values = 1'000'000};

bool isUtf8Name(std::string_view name) {
    constexpr std::string_view utf8 = "utf-8";
    return std::ranges::equal(name, utf8, {}, Ascii::lowerCase);
}

// Whether no instruction names another encoding, be it the XML declaration or one that a reader may take for
// it.
bool claimsNoOtherEncoding(std::string_view text) {
    constexpr std::string_view keyword = "encoding";
    while (true) {
        const std::size_t begin = text.find("<?");
        if (begin == std::string_view::npos) {
            return true;
        }
        text.remove_prefix(begin);
        std::string_view instruction = text.substr(0, text.find("?>"));
        text.remove_prefix(instruction.size());
        const std::size_t place = instruction.find(keyword);
        if (place == std::string_view::npos) {
            continue;
        }
        instruction.remove_prefix(place + keyword.size());
        const std::size_t open = instruction.find_first_of("\"'");
        if (open == std::string_view::npos) {
            return false;
        }
        const std::string_view name = instruction.substr(open + 1);
        if (!isUtf8Name(name.substr(0, name.find(instruction[open])))) {
            return false;
        }
    }
}

bool isPlainUtf8(std::string_view text) {
    return text.find('\0') == std::string_view::npos && isUtf8(text) && claimsNoOtherEncoding(text);
}

} // namespace

std::optional<PropertyListKind> propertyListKind(ByteView document) {
    if (document.size() > longestDocument || !keepsLimits(document, limits)) {
        return std::nullopt;
    }
    if (asText(document).starts_with("bplist")) {
        return PropertyListKind::binary;
    }
    return isPlainUtf8(asText(document)) ? std::optional(PropertyListKind::xml) : std::nullopt;
}

} // namespace InstallerCore
