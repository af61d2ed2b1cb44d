#pragma once

#include "hosts/linux/diskimage/HfsCatalog.h"
#include "hosts/linux/diskimage/VolumeListing.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace InstallerCore {

// One piece of a volume's content, as it shall appear here.
struct VolumeItem {
    enum class Kind {
        folder,
        file,
        link,
        attribute, // an extended attribute of the item `owner`
        hardLink,  // one of the names of the shared file `shared`
        hidden,    // metadata that a mounted volume does not show, or another volume of the same container
        special,   // a device and the like
    };

    Kind kind = Kind::hidden;
    std::string path;         // from the root of the volume, which itself is empty
    std::uint32_t shared = 0; // of a file: has no name of its own, hard links lead to it
    std::string attribute;    // its name as Linux has it
    std::size_t owner = 0;
    unsigned mode = 0;     // the nine permissions
    std::int64_t size = 0; // of its data in the stream
    timespec modified{};
};

struct VolumeContent {
    std::string name;
    std::vector<VolumeItem> items; // in the order of the stream
};

// Bring together what was listed with what else is known. They throw DiskImageError when these contradict
// each other; whether the items can be is for checkVolume().
[[nodiscard]] VolumeContent hfsContent(const VolumeListing& listing, const std::vector<HfsEntry>& catalog);

// One for each volume in the container. A newline in a name has become "_".
[[nodiscard]] std::vector<VolumeContent> apfsContents(const VolumeListing& listing);

} // namespace InstallerCore
