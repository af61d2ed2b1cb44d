#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/download/Cancellation.h"
#include "InstallerCore/feed/Manifest.h"
#include "InstallerCore/localization/InstallerMessage.h"
#include "InstallerCore/platform/Platform.h"
#include "InstallerCore/platform/SystemInfo.h"
#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace InstallerCore {

class FileLock;

// What the flow asks of the core, each under the core's own name, so that a test can stand in for any of
// them. All block and, but for those that say otherwise, throw. Called from the background, except where the
// flow says so.
struct CoreOperations {
    using Path = std::filesystem::path;
    using DownloadProgress = std::function<void(std::int64_t received, std::int64_t total)>;
    using InstallProgress = std::function<void(InstallerMessage)>;
    using CancelFlag = std::shared_ptr<Cancellation>;

    std::function<Path()> privateCache;
    std::function<std::unique_ptr<FileLock>(const Path& cache)> takeInstanceLock;

    // Does not throw.
    std::function<void(const std::string& event, const std::optional<std::string>& version)> record;

    std::function<bool(const Path& cache, const std::string& channelURL)> shouldResume;
    std::function<void(const Path& cache, const std::string& channelURL)> begin;
    std::function<void(const Path& cache)> complete; // does not throw

    std::function<Bytes(const CancelFlag& cancel)> manifest;
    std::function<void(const CancelFlag& cancel, const Artifact& artifact, const Path& file,
                       const DownloadProgress& progress)>
        download; // the progress comes from a thread of the transfer
    std::function<Manifest(ByteView feed)> readUpdateFeed;
    std::function<std::string()> nativeArch;
    std::function<SystemVersion()> systemVersion;
    std::function<void(const Path& cache)> cleanExpiredDownloads;  // does not throw
    std::function<bool(const Path& image)> removeInstalledPackage; // does not throw

    std::function<std::optional<Path>(const Path& directory,
                                      const std::optional<std::string>& minimumVersion)>
        existing;
    std::function<bool(const Path& directory)> isWritable;
    std::function<void(const Path& path, std::int64_t bytes)> checkSpace;
    std::function<void(const Path& directory, bool launchConfirmed)> recover;
    std::function<Path(const Path& dmg, const Artifact& artifact, const Path& directory,
                       const InstallProgress& progress)>
        install;

    std::function<void(const Path& bundle)> scheduleEjection; // does not throw; on the main thread
    std::function<void(const std::string& line)> log;         // does not throw; any thread
    std::function<double()> seconds;                          // since some moment, never running backwards

    // The core itself. The platform must outlive the result.
    [[nodiscard]] static CoreOperations live(const Config& config, const Platform& platform);
};

} // namespace InstallerCore
