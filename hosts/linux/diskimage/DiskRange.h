#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>

namespace InstallerCore {

// Reading of a decoded disk or volume in an open file. The position of the descriptor is of no meaning.

// Exactly so many bytes. Throws DiskImageError when the file ends before, or cannot be read.
[[nodiscard]] Bytes readDisk(int disk, std::int64_t offset, std::size_t size);

[[nodiscard]] std::int64_t sizeOfDisk(int disk);

// Makes a range of the disk the content of the other file, which is empty. Holes stay holes.
void copyDiskRange(int disk, std::int64_t offset, std::int64_t size, int target);

} // namespace InstallerCore
