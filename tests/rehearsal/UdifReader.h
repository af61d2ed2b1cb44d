#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// The parts of a disk image as they are stored, for tests of the writer: nothing is decoded or judged.
namespace InstallerCore::Testing {

struct StoredRun {
    std::uint32_t kind;
    std::uint64_t firstSector;
    std::uint64_t sectorCount;
    std::uint64_t offset;
    std::uint64_t length;
};

struct StoredTable {
    std::string name;
    std::uint64_t firstSector;
    std::uint64_t sectorCount;
    std::uint32_t checksum;
    std::vector<StoredRun> runs; // with the terminator
};

struct StoredImage {
    std::uint64_t runsLength;
    std::uint64_t sectorCount;
    std::uint32_t runsChecksum;
    std::uint32_t masterChecksum;
    std::vector<StoredTable> tables;
};

// Throws when the trailer or the property list cannot be read.
[[nodiscard]] StoredImage readStoredImage(const std::filesystem::path& image);

} // namespace InstallerCore::Testing
