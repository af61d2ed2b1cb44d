#include "rehearsal/HfsVolume.h"

#include "hosts/posix/ProcessesPosix.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace InstallerCore::Rehearsal {

namespace {

constexpr std::uint64_t sectorSize = 512;

// What xorriso would take from the clock or from a generator is the same each time.
constexpr const char* creationDate = "2026010100000000";
constexpr const char* creationSeconds = "=1767225600";
constexpr const char* serialNumber = "4b6176696f566f6c";

// xorriso would give both names the same blocks, which no checker of file systems lets pass.
void refuseHardLinks(const std::filesystem::path& directory) {
    std::set<std::pair<dev_t, ino_t>> seen;
    std::error_code ignored; // what is wrong with the directory itself is xorriso's to say
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory, ignored)) {
        struct stat status = {};
        if (::lstat(entry.path().c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink > 1 &&
            !seen.emplace(status.st_dev, status.st_ino).second) {
            throw std::runtime_error("a file has two names, which the volume cannot have: " +
                                     entry.path().string());
        }
    }
}

// A disk with a partition map, an ISO 9660 file system, and the HFS+ volume as one of its partitions.
void makeHybridDisk(const std::filesystem::path& directory, const std::string& volumeName,
                    const std::filesystem::path& disk) {
    const ProcessResult result =
        ProcessesPosix().run("/usr/bin/xorriso",
                             {"-no_rc", "-pkt_output", "on", "-report_about", "SORRY", "-as", "mkisofs",
                              "-quiet", "-hfsplus", "-R",
                              "--old-empty", // no block that belongs to no file
                              "-input-charset", "UTF-8", "-output-charset", "UTF-8",
                              std::string("--modification-date=") + creationDate, "-hfsplus-serial-no",
                              serialNumber, "-V", volumeName, "-o", disk, directory, "--",
                              // Whose the files are, and then when that was changed.
                              "-chown_r", "0", "/", "--", "-chgrp_r", "0", "/", "--", "-alter_date_r", "a-c",
                              creationSeconds, "/", "--", "-alter_date_r", "c", creationSeconds, "/", "--"},
                             Processes::ErrorOutput::discarded);
    if (result.status != 0) {
        throw std::runtime_error("xorriso cannot make the volume (" + std::to_string(result.status) +
                                 "): " + std::string(asText(result.output)));
    }
}

struct Partition {
    std::uint64_t firstSector = 0;
    std::uint64_t sectorCount = 0;
};

std::uint32_t bigEndianAt(std::string_view text, std::size_t offset) {
    std::uint32_t value = 0;
    for (const char c : text.substr(offset, 4)) {
        value = value << 8U | static_cast<unsigned char>(c);
    }
    return value;
}

// An entry of the partition map fills a sector from the second one on: 0 "PM", 8 first sector, 12 sectors, 48
// kind.
Partition findHfsPartition(std::ifstream& disk) {
    constexpr unsigned longestMap = 63;
    std::string entry(sectorSize, '\0');
    for (unsigned sector = 1; sector <= longestMap; ++sector) {
        disk.seekg(static_cast<std::streamoff>(sector * sectorSize));
        disk.read(entry.data(), static_cast<std::streamsize>(entry.size()));
        if (!disk || !entry.starts_with("PM")) {
            break;
        }
        if (std::string_view(&entry[48]) == "Apple_HFS") {
            return {.firstSector = bigEndianAt(entry, 8), .sectorCount = bigEndianAt(entry, 12)};
        }
    }
    throw std::runtime_error("xorriso made no HFS+ partition");
}

void copyPartition(std::ifstream& disk, const Partition& partition, const std::filesystem::path& volume) {
    std::ofstream stream(volume, std::ios::binary | std::ios::trunc);
    std::string block(std::size_t{1} << 20U, '\0');
    disk.seekg(static_cast<std::streamoff>(partition.firstSector * sectorSize));
    for (std::uint64_t rest = partition.sectorCount * sectorSize; rest > 0; rest -= block.size()) {
        block.resize(std::min<std::uint64_t>(rest, block.size()));
        disk.read(block.data(), static_cast<std::streamsize>(block.size()));
        stream.write(block.data(), static_cast<std::streamsize>(block.size()));
        if (!disk || !stream) {
            throw std::runtime_error("the volume cannot be cut out of xorriso's disk");
        }
    }
    stream.close();
    if (!stream) {
        throw std::runtime_error("the volume cannot be written");
    }
}

} // namespace

void makeHfsVolume(const std::filesystem::path& directory, const std::string& volumeName,
                   const std::filesystem::path& volume) {
    const std::filesystem::path hybrid = volume.string() + ".hybrid";
    const auto removeHybrid = [&hybrid] {
        std::error_code ignored;
        std::filesystem::remove(hybrid, ignored);
    };
    removeHybrid(); // xorriso would add to what is there
    try {
        refuseHardLinks(directory);
        makeHybridDisk(directory, volumeName, hybrid);
        std::ifstream disk(hybrid, std::ios::binary);
        copyPartition(disk, findHfsPartition(disk), volume);
    } catch (...) {
        removeHybrid();
        std::error_code ignored;
        std::filesystem::remove(volume, ignored);
        throw;
    }
    removeHybrid();
}

} // namespace InstallerCore::Rehearsal
