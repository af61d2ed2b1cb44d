#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/localization/InstallerLocalization.h"
#include "InstallerCore/support/Ascii.h"
#include "InstallerCore/support/PlatformError.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace InstallerCore {

namespace {

using enum InstallerMessage;

struct Rule {
    std::string_view text;
    bool goesOn; // the error's text may continue
    InstallerMessage message;

    [[nodiscard]] bool fits(std::string_view error) const {
        return goesOn ? error.starts_with(text) : error == text;
    }
};

constexpr Rule whole(std::string_view text, InstallerMessage message) {
    return {.text = text, .goesOn = false, .message = message};
}

constexpr Rule beginning(std::string_view text, InstallerMessage message) {
    return {.text = text, .goesOn = true, .message = message};
}

// The first that fits decides.
constexpr std::array rules{
    beginning("HTTP ", network_error),
    whole(ErrorText::invalidHttpResponse, network_error),
    whole(ErrorText::incompleteDownload, network_error),
    whole(ErrorText::incompleteResponseRange, network_error),
    whole(ErrorText::invalidContentRange, network_error),
    whole(ErrorText::invalidRangeEnd, network_error),
    whole(ErrorText::exceedsExpectedSize, network_error),
    whole(ErrorText::notEnoughSpace, disk_error),
    beginning("Applications is not writable", permission_error),
    beginning("Close Kavio after saving", running_error),
    whole(ErrorText::unsupportedSystem, unsupported_error),
    whole(ErrorText::unsupportedMac, unsupported_error),
    whole(ErrorText::paused, paused),
};

// Found anywhere in the text, in any letter case.
constexpr std::array<std::string_view, 9> verificationKeywords{
    "signature",   "publisher",        "identity",
    "hash",        "version mismatch", "manifest",
    "signing key", "newer installer",  "architecture mismatch",
};

bool isAboutVerification(std::string text) {
    std::ranges::transform(text, text.begin(), Ascii::lowerCase);
    return std::ranges::any_of(verificationKeywords, [&](std::string_view keyword) {
        return text.find(keyword) != std::string::npos;
    });
}

InstallerMessage ofText(const std::string& text) {
    const auto* const rule =
        std::ranges::find_if(rules, [&](const Rule& candidate) { return candidate.fits(text); });
    if (rule != rules.end()) {
        return rule->message;
    }
    return isAboutVerification(text) ? verification_error : generic_error;
}

InstallerMessage ofSystem(const PlatformError& error) {
    if (error.domain() == ErrorDomain::urlLoading) {
        return network_error;
    }
    if (error.is(FileErrorCode::writeOutOfSpace)) {
        return disk_error;
    }
    const bool denied =
        error.is(FileErrorCode::readNoPermission) || error.is(FileErrorCode::writeNoPermission);
    return denied ? permission_error : generic_error;
}

} // namespace

InstallerMessage InstallerLocalization::errorMessage(const std::exception& error) {
    if (const auto* const system = dynamic_cast<const PlatformError*>(&error)) {
        return ofSystem(*system);
    }
    const auto* const own = dynamic_cast<const InstallerError*>(&error);
    return own == nullptr ? generic_error : ofText(own->errorDescription());
}

} // namespace InstallerCore
