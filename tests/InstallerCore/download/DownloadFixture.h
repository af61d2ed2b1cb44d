#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/download/Cancellation.h"
#include "InstallerCore/feed/Manifest.h"
#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace InstallerCore::Testing {

// A cache directory with room for one image of 5,000 bytes, and a network that plays what a test expects.
class DownloadFixture : public ::testing::Test {
public:
    static constexpr std::int64_t size = 5000;

    DownloadFixture();

    [[nodiscard]] std::string content() const { return content_; }

    // The image's bytes from one offset to another.
    [[nodiscard]] std::string part(std::size_t begin, std::size_t end = size) const;

    // Puts bytes, and a validator when one is given, where the download will find them.
    void plant(std::string_view bytes, const char* validator = nullptr) const;

    [[nodiscard]] std::string onDisk() const { return readFile(file); }

    [[nodiscard]] std::string storedValidator() const { return readFile(sidecar); }

    [[nodiscard]] HttpRequest lastRequest() const { return test.http.requests().back(); }

    // A response 200 with the entity tag "v1", or the headers given.
    [[nodiscard]] static HttpResponse ok(std::vector<HttpHeader> headers = {{"ETag", "\"v1\""}});

    // A response 206 for all bytes from the offset.
    [[nodiscard]] static HttpResponse partial(std::int64_t offset);

    [[nodiscard]] static HttpResponse status(int status);

    TestPlatform test;
    Config config{.installerVersion = "1.0.0",
                  .channelURL = "https://dist.test/desktop/mac/latest-mac.yml",
                  .allowedHosts = {"dist.test"}};
    std::shared_ptr<Cancellation> cancellation = std::make_shared<Cancellation>();
    std::vector<std::pair<std::int64_t, std::int64_t>> reports;
    Artifact artifact;
    std::filesystem::path file;
    std::filesystem::path sidecar;

private:
    std::string content_;
};

} // namespace InstallerCore::Testing
