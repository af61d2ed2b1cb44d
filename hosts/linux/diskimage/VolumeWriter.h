#pragma once

#include "hosts/linux/diskimage/SevenZip.h"
#include "hosts/linux/diskimage/VolumeItems.h"

namespace InstallerCore {

inline constexpr const char* volumeTree = "tree";

// Lays the content, which checkVolume() has passed, out as the new folder `tree` of an empty directory that
// is private to this process. Nothing but its root (mode 0700) lacks its final mode and time; the owner is
// the caller. Extended attributes that the file system has no room or no place for are left out, and so are
// those of links. Returns how many. Throws DiskImageError; what is there by then is worthless.
[[nodiscard]] std::size_t writeVolume(const VolumeContent& content, SevenZipStream& stream, int directory);

} // namespace InstallerCore
