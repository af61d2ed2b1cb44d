#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/download/Downloader.h"
#include "rehearsal/CertificateAuthority.h"
#include "rehearsal/LoopbackHttp.h"
#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace InstallerCore::Testing {

// One image to be downloaded into a cache directory with real files, a real network on the loopback interface
// and a clock that does not wait. Where the server is, a test says by transport().
class ReleaseFixture : public ::testing::Test {
public:
    ReleaseFixture();

    [[nodiscard]] const std::string& content() const noexcept { return content_; }

    // Makes these bytes the image, and their digest its name.
    void setContent(std::string content);

    // The image's bytes from one offset to another or to the end.
    [[nodiscard]] std::string part(std::size_t begin, std::size_t end = std::string::npos) const;

    // Puts bytes, and a validator when one is given, where the download will find them.
    void plant(std::string_view bytes, const char* validator = nullptr) const;

    [[nodiscard]] std::string onDisk() const { return readFile(file); }

    [[nodiscard]] std::string storedValidator() const { return readFile(sidecar); }

    // From here on the hosts are found at the port.
    void serveFrom(std::uint16_t port, HttpTimeouts timeouts = {});

    // The image by way of the downloader.
    void download();

    // The image by a single transfer, without the downloader's hash and retries.
    void transfer();

    [[nodiscard]] std::string manifest() const;

    // The waits between the attempts came to this, all made in steps of 0.1 seconds.
    void expectWaits(std::chrono::seconds sum) const;

    TestPlatform test;
    Rehearsal::CertificateAuthority authority;
    Config config{.installerVersion = "1.0.0",
                  .channelURL = "https://dist.test/desktop/mac/latest-mac.yml",
                  .allowedHosts = {"dist.test", "mykavio.test"}};
    std::shared_ptr<Cancellation> cancellation = std::make_shared<Cancellation>();
    std::vector<std::int64_t> reports; // bytes received, from each call of the progress
    std::function<void(std::int64_t)> onProgress;
    Artifact artifact;
    std::filesystem::path file;
    std::filesystem::path sidecar;

private:
    [[nodiscard]] DownloadProgress progress();

    std::string content_;
    std::unique_ptr<Rehearsal::LoopbackHttp> http_;
};

} // namespace InstallerCore::Testing
