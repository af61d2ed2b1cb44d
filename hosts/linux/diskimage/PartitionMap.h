#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore {

// Where the volumes of a raw disk are: a GUID partition table (UEFI, chapter 5), an Apple
// partition map (Inside Macintosh: Devices, chapter 3), or one volume that fills the disk.

enum class VolumeKind { hfsPlus, apfs };

struct DiskPartition {
    std::string type;        // as the map has it: a UUID in capitals, or a name such as "Apple_HFS"
    std::int64_t offset = 0; // both in bytes, and within the disk
    std::int64_t size = 0;
    std::optional<VolumeKind> volume = std::nullopt;
};

struct DiskLayout {
    std::string scheme; // "GUID_partition_scheme", "Apple_partition_scheme"; empty when there is no map
    std::vector<DiskPartition> partitions; // free space left out; without a map, the one volume
};

// Throws DiskImageError when the map is damaged or leads outside the disk.
[[nodiscard]] DiskLayout readDiskLayout(int disk);

} // namespace InstallerCore
