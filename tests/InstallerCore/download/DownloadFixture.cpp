#include "tests/InstallerCore/download/DownloadFixture.h"

namespace InstallerCore::Testing {

DownloadFixture::DownloadFixture() {
    for (int i = 0; std::ssize(content_) < size; ++i) {
        content_ += std::to_string(i) + ",";
    }
    content_.resize(size);
    const auto digest = test.digests.sha512();
    digest->update(asBytes(content_));
    artifact = {.platform = "macos",
                .arch = "x64",
                .appVersion = "1.4.2",
                .minOSVersion = "12.0.0",
                .url = "https://dist.test/desktop/mac/Kavio-1.4.2.dmg",
                .sizeBytes = size,
                .installedSizeBytes = 4 * size,
                .sha512 = hexadecimal(digest->finish())};
    file = test.home / (artifact.sha512 + ".dmg");
    sidecar = test.home / (artifact.sha512 + ".dmg.etag");
}

std::string DownloadFixture::part(std::size_t begin, std::size_t end) const {
    return content_.substr(begin, end - begin);
}

void DownloadFixture::plant(std::string_view bytes, const char* validator) const {
    writeFile(file, bytes);
    if (validator != nullptr) {
        writeFile(sidecar, validator);
    }
}

HttpResponse DownloadFixture::ok(std::vector<HttpHeader> headers) {
    return {.status = 200, .headers = std::move(headers)};
}

HttpResponse DownloadFixture::partial(std::int64_t offset) {
    const std::string range =
        "bytes " + std::to_string(offset) + "-" + std::to_string(size - 1) + "/" + std::to_string(size);
    return {.status = 206, .headers = {{"content-range", range}, {"etag", "\"v1\""}}};
}

HttpResponse DownloadFixture::status(int status) {
    return {.status = status, .headers = {}};
}

} // namespace InstallerCore::Testing
