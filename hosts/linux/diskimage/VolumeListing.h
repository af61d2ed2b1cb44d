#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore {

// One item as 7-Zip lists it with "l -slt -sns".
struct ListedItem {
    std::string path; // components joined by "/"; a newline, and on HFS+ "/" and ":", have become "_"
    std::string mode; // as ls prints it; may be empty
    bool folder = false;
    bool stream = false; // an alternate stream: the path of its owner, ":", its name
    std::int64_t size = 0;
    timespec modified{}; // 0 when the volume does not tell
};

struct VolumeListing {
    std::vector<std::string> volumeNames; // of an APFS container; none of HFS+
    std::vector<ListedItem> items;        // in the order of the data
};

// Reads a listing whose times are in UTC. Throws DiskImageError on what does not look like one, and beyond
// mostVolumeItems.
[[nodiscard]] VolumeListing parseVolumeListing(std::string_view listing);

inline constexpr std::size_t mostVolumeItems = 500'000;

} // namespace InstallerCore
