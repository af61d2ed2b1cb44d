#include "rehearsal/SampleRelease.h"

#include "InstallerCore/install/StagingDirectory.h"
#include "InstallerCore/platform/Digests.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/support/Base64.h"
#include "rehearsal/SampleImage.h"
#include "rehearsal/SampleSignature.h"

#include <fstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace InstallerCore::Rehearsal {

namespace {

// As the feed has it.
std::string hashOf(const std::filesystem::path& file, const Platform& platform) {
    constexpr std::size_t pieceSize = std::size_t{1} << 20U;
    const auto handle = platform.files.openForReading(file);
    const auto digest = platform.digests.sha512();
    Bytes piece(pieceSize);
    while (const std::size_t count = handle->read(piece)) {
        digest->update(ByteView(piece).first(count));
    }
    return encodeBase64(digest->finish());
}

} // namespace

void writeSampleRelease(const Config& config, SampleApplicationOptions application,
                        const std::filesystem::path& documentRoot, const Platform& platform,
                        const SampleSigner& sign) {
    const std::filesystem::path feed = documentRoot.string() + config.url(config.channelURL).path();
    std::filesystem::create_directories(feed.parent_path());
    application.bundleIdentifier = config.bundleID;
    const SampleImageOptions options{.arrange = [&](const std::filesystem::path& volume) {
        sign(volume / StagingDirectory::applicationName);
    }};
    std::string text = "version: " + application.version + "\nfiles:\n";
    for (const std::string architecture : {"arm64", "x64"}) {
        const std::string suffix = architecture == "arm64" ? "-arm64.dmg" : ".dmg";
        const auto image = feed.parent_path() / ("Kavio-" + application.version + suffix);
        application.architectures = {architecture};
        makeSampleImage(application, image, options);
        text += "  - url: " + image.filename().string() + "\n    sha512: " + hashOf(image, platform) +
                "\n    size: " + std::to_string(std::filesystem::file_size(image)) + "\n";
    }
    std::ofstream stream(feed, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream) {
        throw std::runtime_error("the sample feed cannot be written");
    }
}

void writeSampleRelease(const Config& config, SampleApplicationOptions application,
                        const std::filesystem::path& documentRoot, const Platform& platform) {
    writeSampleRelease(config, std::move(application), documentRoot, platform,
                       [](const std::filesystem::path& bundle) { signSampleApplication(bundle); });
}

} // namespace InstallerCore::Rehearsal
