#pragma once

#include "InstallerCore/localization/InstallerMessage.h"
#include "InstallerCore/localization/MessageCatalog.h"
#include "InstallerCore/platform/Platform.h"

#include <exception>
#include <set>
#include <string>
#include <vector>

namespace InstallerCore {

// The installer's words in one language. A value that does not change by itself: any thread may read it. The
// platform's services must outlive it.
class InstallerLocalization {
public:
    // Chooses the language by resolve() among those of the catalog. Preferred are language tags, the user's
    // first choice first.
    InstallerLocalization(MessageCatalog texts, const std::vector<std::string>& preferredLanguages,
                          const Platform& platform = Platform::host());

    // The one of this process: made at the first call, of that call's platform, from the catalog resource and
    // the languages that the user prefers in the system. Never changes afterwards. Any thread.
    [[nodiscard]] static const InstallerLocalization& live(const Platform& platform = Platform::host());

    // The supported tag that serves the first preferred one that any serves: an equal tag in any letter case
    // and with "_" for "-", else one of the same language. For Chinese the script decides, then the region;
    // Portuguese is Brazilian unless the second part says Portugal; of the regions of any other language the
    // first in order of code points serves all of them. "en-US" when nothing does, supported or not.
    [[nodiscard]] static std::string resolve(const std::vector<std::string>& preferred,
                                             const std::set<std::string>& supported);

    // From the language's own catalog, else from that of "en-US", else as built in. An empty text counts.
    [[nodiscard]] std::string text(InstallerMessage message) const;

    // 0.5 is "50.0%" in "en-US": exactly one fraction digit, everything else as the language has it. Empty
    // when it cannot be formatted.
    [[nodiscard]] std::string percent(double fraction) const;

    // What the user is told about the error. Errors of the system are told apart by domain and code, our own
    // by their text.
    [[nodiscard]] static InstallerMessage errorMessage(const std::exception& error);

    // The language is laid out from right to left.
    [[nodiscard]] bool isRTL() const;

    MessageCatalog catalog;
    std::string language; // a key of the catalog, or "en-US"

private:
    const Languages* languages_;
};

} // namespace InstallerCore
