#include "rehearsal/SampleRelease.h"

#include "InstallerCore/support/Base64.h"

#include <algorithm>
#include <fstream>
#include <random>
#include <stdexcept>

namespace InstallerCore::Rehearsal {

namespace {

// Writes the image and returns its entry in the feed.
std::string writeImage(const std::filesystem::path& file, std::size_t size, unsigned seed,
                       const Digests& digests) {
    std::ofstream stream(file, std::ios::binary);
    std::mt19937_64 random(seed);
    const auto digest = digests.sha512();
    std::string block(std::size_t{1} << 20U, '\0');
    for (std::size_t written = 0; written < size; written += block.size()) {
        std::generate(block.begin(), block.end(), [&random] { return static_cast<char>(random()); });
        block.resize(std::min(block.size(), size - written));
        digest->update(asBytes(block));
        stream << block;
    }
    stream.close();
    if (!stream) {
        throw std::runtime_error("the sample image cannot be written");
    }
    return "  - url: " + file.filename().string() + "\n    sha512: " + encodeBase64(digest->finish()) +
           "\n    size: " + std::to_string(size) + "\n";
}

} // namespace

void writeSampleRelease(const Config& config, const std::string& version, std::size_t imageSize,
                        const Digests& digests, const std::filesystem::path& documentRoot) {
    const std::filesystem::path feed = documentRoot.string() + config.url(config.channelURL).path();
    std::filesystem::create_directories(feed.parent_path());
    std::string text = "version: " + version + "\nfiles:\n";
    unsigned seed = 0;
    for (const char* suffix : {"-arm64.dmg", ".dmg"}) {
        const std::string name = "Kavio-" + version + suffix;
        text += writeImage(feed.parent_path() / name, imageSize, ++seed, digests);
    }
    std::ofstream stream(feed, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream) {
        throw std::runtime_error("the sample feed cannot be written");
    }
}

} // namespace InstallerCore::Rehearsal
