#include "InstallerCore/install/PendingInstallation.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/download/DownloadCache.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/ReadText.h"
#include "InstallerCore/platform/SystemLog.h"
#include "InstallerCore/support/PlatformError.h"
#include "InstallerCore/support/Url.h"

#include <algorithm>
#include <memory>
#include <optional>

namespace InstallerCore {

namespace {

constexpr const char* markerName = "pending-install";
constexpr std::size_t longestMarker = 65'536;

bool exists(Directory& directory, const std::string& name) {
    try {
        static_cast<void>(directory.attributes(name));
        return true;
    } catch (const PlatformError& error) {
        if (error.isNoSuchFile()) {
            return false;
        }
        throw;
    }
}

bool isEarlierChannelPath(const std::string& path) {
    return path == "/desktop/channel.json" || path == "/desktop/mac/channel.json";
}

bool isCurrentChannelPath(const std::string& path) {
    return path == "/desktop/mac/channel.json" || path == "/desktop/mac/latest-mac.yml";
}

// Whether the stored address is an earlier form of the current one on the same server.
bool isMigrated(const std::string& stored, const std::string& current) {
    const auto from = Url::parse(stored);
    const auto to = Url::parse(current);
    if (!from || !to) {
        return false;
    }
    const bool sameServer =
        from->scheme() == to->scheme() && from->host() == to->host() && from->port() == to->port();
    return sameServer && isEarlierChannelPath(from->path()) && isCurrentChannelPath(to->path());
}

bool holdsImage(Directory& cache) {
    const auto names = cache.names();
    return std::any_of(names.begin(), names.end(), [&cache](const std::string& name) {
        if (!isImageName(name)) {
            return false;
        }
        const FileAttributes attributes = cache.attributes(name);
        return attributes.type == FileType::regular && attributes.size > 0;
    });
}

void removeMarker(const std::filesystem::path& cache, const Platform& platform) {
    try {
        platform.files.openDirectory(cache)->remove(markerName);
    } catch (const PlatformError& error) {
        if (!error.isNoSuchFile()) {
            platform.log.write(ErrorText::pendingCleanupDeferred(error.what()));
        }
    }
}

} // namespace

void PendingInstallation::begin(const std::filesystem::path& cache, const std::string& channelURL,
                                const Platform& platform) {
    platform.files.openDirectory(cache)->replace(markerName, asBytes(channelURL));
}

bool PendingInstallation::shouldResume(const std::filesystem::path& cache, const std::string& channelURL,
                                       const Platform& platform) {
    const auto directory = platform.files.openDirectory(cache);
    if (!exists(*directory, markerName)) {
        return holdsImage(*directory);
    }
    const std::string stored = readText(*directory, markerName, longestMarker);
    return stored == channelURL || isMigrated(stored, channelURL);
}

void PendingInstallation::complete(const std::filesystem::path& cache, const Platform& platform) noexcept {
    try {
        removeMarker(cache, platform);
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): want of memory, also for a log line
    }
}

} // namespace InstallerCore
