#pragma once

#include "InstallerCore/platform/Platform.h"

#include <filesystem>
#include <string_view>

// The one private directory in which the installer keeps its files between runs: images "<digest>.dmg" with
// their validators "<digest>.dmg.etag", the pending marker, the event log and the instance lock. One
// installer works on it at a time (see InstanceLock).
namespace InstallerCore {

// The cache directory, made when missing and given the permissions 0700 in any case. Throws InstallerError
// "Unsafe cache directory" when it is a symbolic link, PlatformError otherwise. Any thread.
[[nodiscard]] std::filesystem::path privateCache(const Platform& platform = Platform::host());

// Removes images and validators whose content is older than seven days, each judged by itself; links and all
// other names stay. Best effort: reports and throws nothing.
void cleanExpiredDownloads(const std::filesystem::path& cache,
                           const Platform& platform = Platform::host()) noexcept;

// What a validator's name has behind its image's.
inline constexpr std::string_view validatorSuffix = ".etag";

// "<digest>.dmg", with a digest of 64 or 128 lower-case hexadecimal digits.
[[nodiscard]] bool isImageName(std::string_view name);

class DownloadCache {
public:
    DownloadCache() = delete;

    // Removes the image and its validator, regular files only. True when neither exists any more; what
    // stopped it is in the system log. Does not throw.
    static bool removeInstalledPackage(const std::filesystem::path& image,
                                       const Platform& platform = Platform::host()) noexcept;
};

} // namespace InstallerCore
