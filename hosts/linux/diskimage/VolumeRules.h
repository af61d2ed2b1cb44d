#pragma once

#include "hosts/linux/diskimage/VolumeItems.h"

#include <string>
#include <string_view>

namespace InstallerCore {

// Whether the content can be laid out here as it is, without leaving its folder and without one entry taking
// the place of another. Throws DiskImageError: for a path that is absolute or has an empty, "." or ".."
// component or a NUL, for what would lie under a link or a file, for devices, for two names that are the same
// to the file system of a Mac (ICU's full case folding and canonical equivalence), and for more data than the
// volume has room for.
void checkVolume(const VolumeContent& content, std::int64_t sizeOfVolume);

// The text for a message: control characters replaced.
[[nodiscard]] std::string shown(std::string_view text);

} // namespace InstallerCore
