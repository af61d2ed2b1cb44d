#include "InstallerCore/config/CompareVersion.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/feed/UpdateFeed.h"
#include "InstallerCore/support/PlatformError.h"
#include "fuzz/Check.h"
#include "tests/InstallerCore/feed/StraightFeedReader.h"

#include <set>

// The input is a release feed.

namespace InstallerCore::Fuzz {

namespace {

using Testing::StraightResult;

const std::set<std::string> texts = {
    "Manifest too large",       "Invalid feed encoding",         "Duplicate feed field",
    "Invalid files list",       "Unsupported files list",        "Invalid YAML scalar",
    "Unsupported YAML scalar",  "Missing release version",       "Invalid version",
    "Invalid download URL",     "Untrusted download URL",        "Artifact version mismatch",
    "Duplicate release target", "Invalid artifact size or hash", "No compatible release artifacts"};

StraightResult readFeed(ByteView document, const Config& config) {
    try {
        return readUpdateFeed(document, config);
    } catch (const InstallerError& error) {
        check(texts.contains(error.errorDescription()), "the error is one of the feed's");
        return error.errorDescription();
    } catch (const PlatformError& error) {
        check(error.domain() == ErrorDomain::json, "no other platform error than JSON's");
        return std::string(Testing::malformedJson);
    }
}

void checkArtifact(const Artifact& artifact, const Config& config) {
    check(artifact.platform == "macos" && artifact.minOSVersion == "12.0.0",
          "the fixed members are as fixed");
    check(compareVersion(artifact.appVersion, artifact.appVersion) == 0, "the version is one");
    const std::string name =
        "Kavio-" + artifact.appVersion + (artifact.arch == "arm64" ? "-arm64.dmg" : ".dmg");
    check(artifact.arch == "arm64" || artifact.arch == "x64", "the architecture is known");
    check(config.url(artifact.url).lastPathComponent() == name, "the address is trusted and names the image");
    check(artifact.sizeBytes >= 1 && artifact.sizeBytes <= 19'999'999'999, "the size is in range");
    check(artifact.installedSizeBytes == 4 * artifact.sizeBytes, "the installed size is estimated");
    check(artifact.sha512.size() == 128 &&
              artifact.sha512.find_first_not_of("0123456789abcdef") == std::string::npos,
          "the hash is a file name's stem");
}

void checkManifest(const Manifest& manifest, const Config& config) {
    check(manifest.artifacts.size() == 1 || manifest.artifacts.size() == 2,
          "there is an image, and one for each architecture");
    std::set<std::string> architectures;
    for (const Artifact& artifact : manifest.artifacts) {
        checkArtifact(artifact, config);
        check(architectures.insert(artifact.arch).second, "architectures differ");
        check(manifest.artifact(artifact.arch) == artifact, "each image can be chosen");
    }
}

} // namespace

} // namespace InstallerCore::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore;
    const Config config{.channelURL = "https://dist.mykavio.test/desktop/mac/latest-mac.yml",
                        .allowedHosts = {"dist.mykavio.test", "mykavio.test"}};
    const ByteView document = std::as_bytes(std::span(data, size));
    const auto result = Fuzz::readFeed(document, config);
    Fuzz::check(result == Testing::readFeedStraight(asText(document), config), "the straight reader agrees");
    if (const auto* manifest = std::get_if<Manifest>(&result)) {
        Fuzz::checkManifest(*manifest, config);
    }
    return 0;
}
