#include "tests/integration/ReleaseFixture.h"

#include "InstallerCore/download/DownloadCache.h"

namespace InstallerCore::Testing {

namespace {

// Text without a pattern that a shifted copy would fit.
std::string someText(std::size_t size) {
    std::string bytes;
    bytes.reserve(size);
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < size; ++i) {
        state = state * 1'664'525U + 1'013'904'223U;
        bytes.push_back("0123456789abcdef"[state >> 28U]);
    }
    return bytes;
}

} // namespace

ReleaseFixture::ReleaseFixture() {
    Rehearsal::writePrivateFile(test.home / "authority.pem", authority.certificate());
    artifact = {.platform = "macos",
                .arch = "x64",
                .appVersion = "1.4.2",
                .minOSVersion = "12.0.0",
                .url = "https://dist.test/desktop/mac/Kavio-1.4.2.dmg"};
    setContent(someText(5000));
}

void ReleaseFixture::setContent(std::string content) {
    content_ = std::move(content);
    const auto digest = test.digests.sha512();
    digest->update(asBytes(content_));
    artifact.sha512 = hexadecimal(digest->finish());
    artifact.sizeBytes = std::ssize(content_);
    file = privateCache(test.platform) / (artifact.sha512 + ".dmg");
    sidecar = file.string() + ".etag";
}

std::string ReleaseFixture::part(std::size_t begin, std::size_t end) const {
    return content_.substr(begin, end - begin);
}

void ReleaseFixture::plant(std::string_view bytes, const char* validator) const {
    writeFile(file, bytes);
    if (validator != nullptr) {
        writeFile(sidecar, validator);
    }
}

void ReleaseFixture::serveFrom(std::uint16_t port, HttpTimeouts timeouts) {
    http_ = std::make_unique<Rehearsal::LoopbackHttp>(config.allowedHosts, port, test.home / "authority.pem",
                                                      timeouts);
}

DownloadProgress ReleaseFixture::progress() {
    return [this](std::int64_t received, std::int64_t total) {
        EXPECT_EQ(total, artifact.sizeBytes);
        reports.push_back(received);
        if (onProgress) {
            onProgress(received);
        }
    };
}

void ReleaseFixture::download() {
    const Downloader downloader(config, cancellation, http_.get(), test.platform);
    downloader.download(artifact, file, progress());
}

void ReleaseFixture::transfer() {
    Transfer one({.config = config,
                  .file = file,
                  .expected = artifact.sizeBytes,
                  .cancel = cancellation,
                  .progress = progress(),
                  .protocols = http_.get()},
                 test.platform);
    EXPECT_TRUE(one.run(config.url(artifact.url)).empty());
}

std::string ReleaseFixture::manifest() const {
    const Downloader downloader(config, cancellation, http_.get(), test.platform);
    return std::string(asText(downloader.manifest()));
}

void ReleaseFixture::expectWaits(std::chrono::seconds sum) const {
    constexpr std::chrono::milliseconds step(100);
    const std::vector<std::chrono::milliseconds> steps(static_cast<std::size_t>(sum / step), step);
    EXPECT_EQ(test.clock.sleeps(), steps);
}

} // namespace InstallerCore::Testing
