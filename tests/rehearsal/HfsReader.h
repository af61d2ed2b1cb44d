#pragma once

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

// The parts of an HFS+ volume as they are stored, for tests of its maker. The layout is in Apple's Technical
// Note 1150.
namespace InstallerCore::Testing {

struct StoredFork {
    std::uint64_t size; // in bytes
    std::uint32_t blockCount;
    std::vector<std::uint32_t> blocks;
};

// A folder or a file.
struct StoredEntry {
    std::uint32_t number;
    std::uint32_t created; // dates are in seconds since 1904
    std::uint32_t accessed;
    std::uint32_t owner;
    std::uint32_t group;
    std::vector<StoredFork> forks; // of a file: data, resources
};

struct StoredVolume {
    std::uint32_t blockSize;
    std::uint32_t blockCount;
    std::uint32_t freeBlockCount;
    std::set<std::uint32_t> markedBlocks; // in the bitmap as in use
    std::vector<StoredFork> specialFiles;
    std::vector<StoredEntry> entries;
};

// Throws when this is no volume, its second header differs from the first, or a fork goes on in the file of
// further extents, which no volume of a test does.
[[nodiscard]] StoredVolume readStoredVolume(const std::filesystem::path& volume);

} // namespace InstallerCore::Testing
