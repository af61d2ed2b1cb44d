#include "InstallerCore/localization/InstallerLocalization.h"
#include "InstallerCore/support/Ascii.h"
#include "InstallerCore/support/Split.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace InstallerCore {

namespace {

using Pieces = std::vector<std::string_view>;
using Tags = std::set<std::string>; // in order of code points, as bytes of UTF-8 are

// Language tags are ASCII.
std::string lowerCased(std::string text) {
    std::ranges::transform(text, text.begin(), Ascii::lowerCase);
    return text;
}

std::string normalised(std::string tag) {
    std::ranges::replace(tag, '_', '-');
    return lowerCased(std::move(tag));
}

std::optional<std::string> firstThat(const Tags& supported, const auto& fits) {
    const auto found =
        std::ranges::find_if(supported, [&](const std::string& tag) { return fits(lowerCased(tag)); });
    return found == supported.end() ? std::nullopt : std::optional(*found);
}

const char* chinese(const Pieces& pieces) {
    const auto has = [&](std::string_view piece) { return std::ranges::find(pieces, piece) != pieces.end(); };
    if (has("hant")) {
        return "zh-TW";
    }
    if (has("hans")) {
        return "zh-CN";
    }
    return has("tw") || has("hk") || has("mo") ? "zh-TW" : "zh-CN";
}

// Only the second piece says Portugal: "pt-Latn-PT" is served in Brazilian.
const char* portuguese(const Pieces& pieces) {
    return pieces.size() > 1 && pieces[1] == "pt" ? "pt-PT" : "pt-BR";
}

std::optional<std::string> ifSupported(const char* tag, const Tags& supported) {
    return supported.contains(tag) ? std::optional<std::string>(tag) : std::nullopt;
}

std::optional<std::string> ofSameLanguage(const Pieces& pieces, const Tags& supported) {
    if (pieces.empty()) {
        return std::nullopt;
    }
    if (pieces[0] == "zh") {
        return ifSupported(chinese(pieces), supported);
    }
    if (pieces[0] == "pt") {
        return ifSupported(portuguese(pieces), supported);
    }
    const std::string start = std::string(pieces[0]) + '-';
    return firstThat(supported, [&](std::string_view tag) { return tag.starts_with(start); });
}

} // namespace

std::string InstallerLocalization::resolve(const std::vector<std::string>& preferred,
                                           const std::set<std::string>& supported) {
    for (const std::string& wish : preferred) {
        const std::string tag = normalised(wish);
        auto found = firstThat(supported, [&](std::string_view other) { return other == tag; });
        if (!found) {
            found = ofSameLanguage(split(tag, '-', EmptyPieces::drop), supported);
        }
        if (found) {
            return *std::move(found);
        }
    }
    return "en-US";
}

} // namespace InstallerCore
