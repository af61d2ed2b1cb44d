#pragma once

#include "InstallerCore/support/Bytes.h"
#include "InstallerCore/support/Url.h"

#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore {

// The build's settings, as decoded from the configuration inside the program. A plain value; addresses stay
// text and are checked each time they are used, by url().
struct Config {
    std::string installerVersion;
    std::string channelURL; // of the release feed
    std::string offlineURL; // of the web page for users who cannot use the installer
    std::vector<std::string> allowedHosts;
    std::string macTeamID; // must sign the application
    std::string bundleID;  // of the application
    std::vector<std::string> windowsSignerSHA256;

    // From one JSON object with the seven keys, all required and strictly typed; other keys are ignored.
    // Throws a PlatformError of the JSON domain.
    [[nodiscard]] static Config decode(ByteView json);

    // Compact JSON, the keys in the order of the members.
    [[nodiscard]] Bytes encode() const;

    // The one trust check for every address that is fetched or followed: https, an allowed host, both exactly
    // as written, no user, no password, no fragment, and port 443 or none. Returns the address unchanged or
    // throws InstallerError "Untrusted download URL".
    [[nodiscard]] Url url(std::string_view text) const;

    friend bool operator==(const Config&, const Config&) = default;
};

} // namespace InstallerCore
