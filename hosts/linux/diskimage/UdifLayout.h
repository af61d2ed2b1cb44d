#pragma once

#include "hosts/linux/diskimage/BlockTable.h"
#include "hosts/linux/diskimage/ImageFile.h"
#include "hosts/linux/diskimage/UdifTrailer.h"

#include <vector>

namespace InstallerCore {

// A trailer and the block tables that it leads to. They follow each other without a gap, from the first
// sector of the disk to the last.
struct UdifLayout : UdifTrailer {
    std::vector<BlockTable> tables;
};

// Reads trailer, property list and block tables and checks the master checksum. Throws DiskImageError.
[[nodiscard]] UdifLayout readLayout(const ImageFile& file);

} // namespace InstallerCore
