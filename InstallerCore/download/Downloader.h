#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/download/Cancellation.h"
#include "InstallerCore/download/Transfer.h"
#include "InstallerCore/feed/Manifest.h"
#include "InstallerCore/platform/Platform.h"

#include <filesystem>
#include <memory>

namespace InstallerCore {

// Fetches the release feed and disk images. Keeps no state of its own between calls; what lasts is the cache
// file and its validator. Both operations block the calling thread.
class Downloader {
public:
    // The platform, and the transport that stands in for its network when given, must outlive the downloader.
    Downloader(Config config, std::shared_ptr<const Cancellation> cancel, Http* protocols = nullptr,
               const Platform& platform = Platform::host());
    Downloader(const Downloader&) = delete;
    Downloader& operator=(const Downloader&) = delete;

    // The raw bytes of the release feed. One try: any failure is thrown.
    [[nodiscard]] Bytes manifest() const;

    // Returns only when the file holds exactly the artifact's bytes. Uses what is there already, resumes,
    // and tries up to four times in all with waits of 1, 2 and 4 seconds between. Throws the last try's
    // error, or InstallerError "Download paused. ..." within 0.1 seconds of a cancel.
    void download(const Artifact& artifact, const std::filesystem::path& file,
                  const DownloadProgress& progress) const;

private:
    [[nodiscard]] bool isVerified(const Artifact& artifact, const std::filesystem::path& file) const;
    void discardUnusable(const Artifact& artifact, const std::filesystem::path& file) const;
    void attemptDownload(const Artifact& artifact, const std::filesystem::path& file,
                         const DownloadProgress& progress) const;
    void remove(const std::filesystem::path& file) const;
    void waitAfter(int attempt) const;

    Config config_;
    std::shared_ptr<const Cancellation> cancel_;
    Http* protocols_;
    const Platform& platform_;
};

} // namespace InstallerCore
