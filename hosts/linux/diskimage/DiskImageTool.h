#pragma once

#include "hosts/linux/diskimage/DiskImageError.h"

#include <filesystem>
#include <string>

namespace InstallerCore {

// Somebody uses the volume.
class VolumeBusyError : public DiskImageError {
public:
    using DiskImageError::DiskImageError;
};

// Attaching, detaching and listing disk images, whose volumes appear as plain directories in the volumes
// directory. Each operation holds a lock on that directory's images; any number of processes may call them.
// What they return is a property list. Errors are as in VolumeStore and UdifImage; a failed attach leaves
// nothing.
class DiskImageTool {
public:
    // An absolute path without links.
    explicit DiskImageTool(std::filesystem::path volumes) : volumes_(std::move(volumes)) {}

    // An image that is attached already is not attached again.
    [[nodiscard]] std::string attach(const std::filesystem::path& path) const;

    // Detaches the whole image that has a volume there. Throws VolumeBusyError, and changes nothing, when
    // somebody uses one of its volumes.
    void detach(const std::filesystem::path& mountPoint) const;

    [[nodiscard]] std::string info() const;

private:
    std::filesystem::path volumes_;
};

} // namespace InstallerCore
