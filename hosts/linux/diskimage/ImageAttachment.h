#pragma once

#include "hosts/linux/diskimage/MountRecord.h"
#include "hosts/posix/Descriptor.h"

#include <filesystem>

namespace InstallerCore {

// Decodes the image and lays its volumes out below the empty folder, where VolumeStore::publish() looks for
// them. Completes the record: number of disks and blocks, entities with the wanted names of volumes; it has
// its first disk's number. Returns how many extended attributes found no place. Throws as UdifImage does.
[[nodiscard]] std::size_t prepareVolumes(Descriptor image, const std::filesystem::path& folder,
                                         MountRecord& record);

} // namespace InstallerCore
