#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace InstallerCore {

// What the catalog of an HFS+ volume says and 7-Zip does not pass on: names letter for letter, and hard
// links. The layout is in Apple's Technical Note 1150.

struct HfsEntry {
    std::uint32_t parent = 0; // the number of the folder that it is in
    std::uint32_t number = 0; // its own
    std::string name;         // UTF-8 as POSIX has it: the catalog's "/" is a ":"
    bool folder = false;
    bool folderLink = false; // a hard link to a folder
    std::uint32_t fileLink =
        0; // of a hard link to a file: which of the private folder's files holds the content
};

inline constexpr std::uint32_t hfsParentOfRoot = 1;
inline constexpr std::uint32_t hfsRootFolder = 2;

// The folders and files, in the order of the catalog. The volume begins where the file begins. Throws
// DiskImageError when the catalog is damaged, a name is not Unicode or holds a path separator, or there are
// too many entries.
[[nodiscard]] std::vector<HfsEntry> readHfsCatalog(int volume);

} // namespace InstallerCore
