#include "KavioInstaller/CoreOperations.h"

#include "InstallerCore/download/DownloadCache.h"
#include "InstallerCore/download/Downloader.h"
#include "InstallerCore/events/InstallerEvents.h"
#include "InstallerCore/feed/UpdateFeed.h"
#include "InstallerCore/install/Installation.h"
#include "InstallerCore/install/InstallerDiskImage.h"
#include "InstallerCore/install/InstanceLock.h"
#include "InstallerCore/install/NativeArch.h"
#include "InstallerCore/install/PendingInstallation.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/Folders.h"
#include "InstallerCore/platform/SystemLog.h"

#include <chrono>

namespace InstallerCore {

namespace {

using Path = CoreOperations::Path;

void addInstallation(CoreOperations& operations, const Config& config, const Platform& platform) {
    const auto installation = std::make_shared<const Installation>(config, platform);
    operations.existing = [installation](const Path& directory,
                                         const std::optional<std::string>& minimumVersion) {
        return installation->existing(directory, minimumVersion);
    };
    operations.checkSpace = [installation](const Path& path, std::int64_t bytes) {
        installation->checkSpace(path, bytes);
    };
    operations.recover = [installation](const Path& directory, bool launchConfirmed) {
        installation->recover(directory, launchConfirmed);
    };
    operations.install = [installation](const Path& dmg, const Artifact& artifact, const Path& directory,
                                        const CoreOperations::InstallProgress& progress) {
        return installation->install(dmg, artifact, directory, progress);
    };
    operations.isWritable = [&platform](const Path& directory) {
        return platform.folders.isWritable(directory);
    };
}

void addDownloads(CoreOperations& operations, const Config& config, const Platform& platform) {
    operations.manifest = [config, &platform](const CoreOperations::CancelFlag& cancel) {
        return Downloader(config, cancel, nullptr, platform).manifest();
    };
    operations.download = [config, &platform](const CoreOperations::CancelFlag& cancel,
                                              const Artifact& artifact, const Path& file,
                                              const CoreOperations::DownloadProgress& progress) {
        Downloader(config, cancel, nullptr, platform).download(artifact, file, progress);
    };
    operations.readUpdateFeed = [config](ByteView feed) {
        return InstallerCore::readUpdateFeed(feed, config);
    };
    operations.cleanExpiredDownloads = [&platform](const Path& cache) {
        InstallerCore::cleanExpiredDownloads(cache, platform);
    };
    operations.removeInstalledPackage = [&platform](const Path& image) {
        return DownloadCache::removeInstalledPackage(image, platform);
    };
}

void addRecords(CoreOperations& operations, const Platform& platform) {
    operations.privateCache = [&platform] { return InstallerCore::privateCache(platform); };
    operations.takeInstanceLock = [&platform](const Path& cache) {
        return InstallerCore::takeInstanceLock(cache, platform);
    };
    operations.record = [&platform](const std::string& event, const std::optional<std::string>& version) {
        InstallerEvents::record(event, version, platform);
    };
    operations.shouldResume = [&platform](const Path& cache, const std::string& channelURL) {
        return PendingInstallation::shouldResume(cache, channelURL, platform);
    };
    operations.begin = [&platform](const Path& cache, const std::string& channelURL) {
        PendingInstallation::begin(cache, channelURL, platform);
    };
    operations.complete = [&platform](const Path& cache) { PendingInstallation::complete(cache, platform); };
}

void addSystem(CoreOperations& operations, const Platform& platform) {
    operations.nativeArch = [&platform] { return InstallerCore::nativeArch(platform); };
    operations.systemVersion = [&platform] { return platform.system.version(); };
    operations.scheduleEjection = [&platform](const Path& bundle) {
        InstallerDiskImage::scheduleEjection(bundle, platform);
    };
    operations.log = [&platform](const std::string& line) { platform.log.write(line); };
    operations.seconds = [] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    };
}

} // namespace

CoreOperations CoreOperations::live(const Config& config, const Platform& platform) {
    CoreOperations operations;
    addRecords(operations, platform);
    addDownloads(operations, config, platform);
    addInstallation(operations, config, platform);
    addSystem(operations, platform);
    return operations;
}

} // namespace InstallerCore
