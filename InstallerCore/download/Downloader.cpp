#include "InstallerCore/download/Downloader.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/download/HashFile.h"
#include "InstallerCore/feed/UpdateFeed.h"
#include "InstallerCore/platform/Clock.h"
#include "InstallerCore/platform/Files.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace InstallerCore {

namespace {

constexpr int lastAttempt = 3;
constexpr int rangeNotSatisfiable = 416;

// Whether trying again cannot help. The match is broad on purpose: every text of the core with one of these
// in it is such a failure, and no platform error's description has one.
bool isFinal(std::string_view description) {
    constexpr std::array<std::string_view, 4> marks = {"hash mismatch", "HTTP 4", "range", "Untrusted"};
    return std::any_of(marks.begin(), marks.end(), [description](std::string_view mark) {
        return description.find(mark) != std::string_view::npos;
    });
}

} // namespace

Downloader::Downloader(Config config, std::shared_ptr<const Cancellation> cancel, Http* protocols,
                       const Platform& platform)
    : config_(std::move(config)), cancel_(std::move(cancel)), protocols_(protocols), platform_(platform) {}

Bytes Downloader::manifest() const {
    const Url url = config_.url(config_.channelURL);
    Transfer transfer({.config = config_,
                       .file = std::nullopt,
                       .expected = largestFeed,
                       .cancel = cancel_,
                       .progress = nullptr,
                       .protocols = protocols_},
                      platform_);
    return transfer.run(url);
}

void Downloader::download(const Artifact& artifact, const std::filesystem::path& file,
                          const DownloadProgress& progress) const {
    if (isVerified(artifact, file)) {
        return;
    }
    cancel_->check(); // before an image that was not looked at whole is taken for a wrong one
    discardUnusable(artifact, file);
    for (int attempt = 0;; ++attempt) {
        cancel_->check();
        try {
            attemptDownload(artifact, file, progress);
            return;
        } catch (const std::exception& error) {
            cancel_->check();
            const std::string_view description = error.what();
            if (attempt == 0 && description == ErrorText::httpStatus(rangeNotSatisfiable)) {
                remove(file); // the server has no use for it; start over at once
                continue;
            }
            if (isFinal(description) || attempt == lastAttempt) {
                throw;
            }
        }
        waitAfter(attempt);
    }
}

bool Downloader::isVerified(const Artifact& artifact, const std::filesystem::path& file) const {
    try {
        return hashFile(file, *cancel_, platform_) == artifact.sha512;
    } catch (const std::exception&) {
        return false; // usually there is no file yet; or the run was cancelled
    }
}

// A file of the full size has the wrong content and a larger one can never be right: neither can be resumed.
void Downloader::discardUnusable(const Artifact& artifact, const std::filesystem::path& file) const {
    std::int64_t size = 0;
    try {
        size = platform_.files.attributes(file).size;
    } catch (const std::exception&) {
        return;
    }
    if (size >= artifact.sizeBytes) {
        remove(file);
    }
}

void Downloader::attemptDownload(const Artifact& artifact, const std::filesystem::path& file,
                                 const DownloadProgress& progress) const {
    Transfer transfer({.config = config_,
                       .file = file,
                       .expected = artifact.sizeBytes,
                       .cancel = cancel_,
                       .progress = progress,
                       .protocols = protocols_},
                      platform_);
    static_cast<void>(transfer.run(config_.url(artifact.url)));
    if (hashFile(file, *cancel_, platform_) != artifact.sha512) {
        remove(file);
        throw InstallerError::message(ErrorText::hashMismatch);
    }
}

void Downloader::remove(const std::filesystem::path& file) const {
    platform_.files.openDirectory(file.parent_path())->remove(file.filename());
}

void Downloader::waitAfter(int attempt) const {
    constexpr int stepsOfFirstWait = 10;
    const int steps = stepsOfFirstWait << attempt;
    for (int step = 0; step < steps; ++step) {
        cancel_->check();
        platform_.clock.sleep(Transfer::pollInterval);
    }
}

} // namespace InstallerCore
