#pragma once

#include "hosts/linux/diskimage/ImageFile.h"
#include "hosts/linux/diskimage/RawDisk.h"
#include "hosts/linux/diskimage/UdifLayout.h"

#include <string>

namespace InstallerCore {

// Both write the disk that the layout describes and check the checksum of each table on the way. They throw
// DiskImageError and PlatformError.

// On all cores. The layout has no LZFSE and no ADC runs.
void decodeRuns(const ImageFile& file, const UdifLayout& layout, const RawDisk& disk);

// By the external program at that path.
void decodeByUnpacker(const ImageFile& file, const UdifLayout& layout, const RawDisk& disk,
                      const std::string& unpacker);

// Checks the checksum of the stored data, when the image has one, on all cores.
void checkStoredData(const ImageFile& file, const UdifLayout& layout);

} // namespace InstallerCore
