#pragma once

#include "InstallerCore/platform/Platform.h"
#include "InstallerCore/support/PropertyValue.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace InstallerCore {

// The disk image from which the installer itself was started.
class InstallerDiskImage {
public:
    InstallerDiskImage() = delete;

    // The mount point of the image that holds the bundle, from the table that the disk-image tool prints;
    // only images mounted in the volumes directory count. Any other shape of the table is an empty one.
    [[nodiscard]] static std::optional<std::string>
    containingMount(const PropertyDictionary& table, const std::filesystem::path& bundle,
                    const Platform& platform = Platform::host());

    // Has the image that holds the bundle ejected once this process has ended, by a shell that outlives it;
    // nothing happens when the bundle is on no image. A failure goes to the system log. Does not throw.
    static void scheduleEjection(const std::filesystem::path& bundle,
                                 const Platform& platform = Platform::host()) noexcept;

    // What the shell runs, with this process and the mount point as its arguments.
    static const std::string_view ejectionScript;
};

} // namespace InstallerCore
