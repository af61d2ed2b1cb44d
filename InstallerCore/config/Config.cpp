#include "InstallerCore/config/Config.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/Json.h"

#include <algorithm>
#include <utility>

namespace InstallerCore {

namespace {

namespace Key {
constexpr const char* installerVersion = "installerVersion";
constexpr const char* channelURL = "channelURL";
constexpr const char* offlineURL = "offlineURL";
constexpr const char* allowedHosts = "allowedHosts";
constexpr const char* macTeamID = "macTeamID";
constexpr const char* bundleID = "bundleID";
constexpr const char* windowsSignerSHA256 = "windowsSignerSHA256";
} // namespace Key

} // namespace

Config Config::decode(ByteView json) {
    const Json::Value object = Json::parseObject(json);
    return {
        .installerVersion = Json::text(object, Key::installerVersion),
        .channelURL = Json::text(object, Key::channelURL),
        .offlineURL = Json::text(object, Key::offlineURL),
        .allowedHosts = Json::texts(object, Key::allowedHosts),
        .macTeamID = Json::text(object, Key::macTeamID),
        .bundleID = Json::text(object, Key::bundleID),
        .windowsSignerSHA256 = Json::texts(object, Key::windowsSignerSHA256),
    };
}

Bytes Config::encode() const {
    const Json::Record record = {
        {Key::installerVersion, installerVersion},
        {Key::channelURL, channelURL},
        {Key::offlineURL, offlineURL},
        {Key::allowedHosts, allowedHosts},
        {Key::macTeamID, macTeamID},
        {Key::bundleID, bundleID},
        {Key::windowsSignerSHA256, windowsSignerSHA256},
    };
    return toBytes(Json::compact(record));
}

Url Config::url(std::string_view text) const {
    std::optional<Url> url = Url::parse(text);
    require(url.has_value(), ErrorText::untrustedDownloadURL);
    require(url->scheme() == "https", ErrorText::untrustedDownloadURL);
    const bool hostAllowed =
        url->host() && !url->host()->empty() &&
        std::find(allowedHosts.begin(), allowedHosts.end(), *url->host()) != allowedHosts.end();
    require(hostAllowed, ErrorText::untrustedDownloadURL);
    require(!url->userInfo(), ErrorText::untrustedDownloadURL); // holds the password as well
    require(!url->fragment(), ErrorText::untrustedDownloadURL);
    require(!url->port() || url->port() == "443", ErrorText::untrustedDownloadURL);
    return std::move(*url);
}

} // namespace InstallerCore
