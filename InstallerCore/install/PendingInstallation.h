#pragma once

#include "InstallerCore/platform/Platform.h"

#include <filesystem>
#include <string>

namespace InstallerCore {

// The marker "pending-install" in the cache directory: its content is the address of the release channel
// whose installation was begun and not completed. It has no age limit.
class PendingInstallation {
public:
    PendingInstallation() = delete;

    // Writes the marker in place of any earlier one. Throws PlatformError.
    static void begin(const std::filesystem::path& cache, const std::string& channelURL,
                      const Platform& platform = Platform::host());

    // Whether an earlier run was left unfinished: the marker names this channel (or an earlier form of its
    // address), or there is no marker but a non-empty image. Throws PlatformError when the cache or the
    // marker cannot be read.
    [[nodiscard]] static bool shouldResume(const std::filesystem::path& cache, const std::string& channelURL,
                                           const Platform& platform = Platform::host());

    // Removes the marker, if there is one; a failure goes to the system log. Does not throw.
    static void complete(const std::filesystem::path& cache,
                         const Platform& platform = Platform::host()) noexcept;
};

} // namespace InstallerCore
