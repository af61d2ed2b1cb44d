#include "InstallerCore/feed/UpdateFeed.h"

#include "InstallerCore/config/CompareVersion.h"
#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/feed/FeedLines.h"
#include "InstallerCore/platform/Digests.h"
#include "InstallerCore/support/Base64.h"
#include "InstallerCore/support/CheckedArithmetic.h"
#include "InstallerCore/support/ParseInteger.h"
#include "InstallerCore/support/UnicodeText.h"

#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace InstallerCore {

namespace {

constexpr std::int64_t largestImage = 19'999'999'999;
constexpr std::int64_t installedToImageSize = 4; // an estimate; the feed does not tell

std::string decodeText(ByteView data) {
    require(std::ssize(data) <= largestFeed, ErrorText::manifestTooLarge);
    require(isUtf8(asText(data)), ErrorText::invalidFeedEncoding);
    return withoutByteOrderMarks(asText(data));
}

// The item's absolute address, trusted. An untrusted address fails the feed even when nothing would be
// fetched from it.
Url itemUrl(const FeedItem& item, const Config& config) {
    const Url channel = config.url(config.channelURL);
    const auto reference = item.url.empty() ? std::nullopt : Url::parse(item.url);
    require(reference.has_value(), ErrorText::invalidDownloadURL);
    const auto absolute = channel.resolve(*reference);
    require(absolute.has_value(), ErrorText::invalidDownloadURL);
    return config.url(absolute->text());
}

// From "Kavio-<version>-arm64.dmg" or "Kavio-<version>.dmg".
std::string architectureOf(std::string_view fileName, const std::string& version) {
    const std::string stem = "Kavio-" + version;
    if (fileName == stem + "-arm64.dmg") {
        return "arm64";
    }
    require(fileName == stem + ".dmg", ErrorText::artifactVersionMismatch);
    return "x64";
}

std::string hexadecimalHash(const std::optional<std::string>& base64) {
    const auto bytes = base64 ? decodeBase64(*base64) : std::nullopt;
    require(bytes && bytes->size() == Sha512::size, ErrorText::invalidArtifactSizeOrHash);
    require(encodeBase64(*bytes) == *base64, ErrorText::invalidArtifactSizeOrHash);
    return hexadecimal(*bytes);
}

std::int64_t imageSize(const std::optional<std::string>& digits) {
    const bool onlyDigits = digits && digits->find_first_not_of("0123456789") == std::string::npos;
    const std::int64_t size = onlyDigits ? parseInteger(*digits).value_or(0) : 0;
    require(size >= 1 && size <= largestImage, ErrorText::invalidArtifactSizeOrHash);
    return size;
}

} // namespace

Manifest readUpdateFeed(ByteView data, const Config& config) {
    const FeedDocument document = readFeedLines(decodeText(data));
    require(document.version.has_value(), ErrorText::missingReleaseVersion);
    const std::string& version = *document.version;
    compareVersion(version, version); // throws when it is not one

    Manifest manifest;
    std::set<std::string> architectures;
    for (const FeedItem& item : document.items) {
        const Url url = itemUrl(item, config);
        if (!url.lastPathComponent().ends_with(".dmg")) {
            continue; // another package of the same release
        }
        const std::string architecture = architectureOf(url.lastPathComponent(), version);
        require(architectures.insert(architecture).second, ErrorText::duplicateReleaseTarget);
        const std::string sha512 = hexadecimalHash(item.sha512);
        const std::int64_t size = imageSize(item.size);
        manifest.artifacts.push_back({
            .platform = "macos",
            .arch = architecture,
            .appVersion = version,
            .minOSVersion = "12.0.0",
            .url = url.text(),
            .sizeBytes = size,
            .installedSizeBytes = checkedMultiply(size, installedToImageSize),
            .sha512 = sha512,
        });
    }
    require(!manifest.artifacts.empty(), ErrorText::noCompatibleArtifacts);
    return manifest;
}

} // namespace InstallerCore
