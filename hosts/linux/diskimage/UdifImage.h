#pragma once

#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/linux/diskimage/ImageFile.h"
#include "hosts/linux/diskimage/UdifLayout.h"
#include "hosts/posix/Descriptor.h"

#include <cstdint>
#include <string>
#include <vector>

namespace InstallerCore {

// A compressed disk image (UDIF) on the way to the disk that it stands for. Raw, zlib, bzip2 and LZMA runs
// are decoded here, on all cores; an image with LZFSE or ADC runs goes through the unpacker, an external
// program. Every checksum of the image is checked, whoever decodes.
//
// Refused: images that are encrypted or in several segments, tables without checksums, compressed runs of
// more than 64 MiB decoded; so memory stays bounded. Partitions are counted from 1 in what errors say.
//
// Throws DiskImageError for what is wrong with the image, PlatformError of the file domain when reading or
// writing fails and of the process-launch domain when the unpacker cannot be started.
class UdifImage {
public:
    // As the block tables name them, in the order of the disk, which they cover whole. Sectors of 512 bytes.
    struct Partition {
        std::string name; // any UTF-8, from the image
        std::int64_t firstSector;
        std::int64_t sectorCount;
    };

    // Reads and checks everything but the contents. The file stays open as long as the object lives. The
    // unpacker is the absolute path of 7-Zip's program.
    explicit UdifImage(Descriptor image, std::string unpacker = "/usr/bin/7zz");

    [[nodiscard]] const std::vector<Partition>& partitions() const noexcept { return partitions_; }

    // Of the decoded disk, in bytes.
    [[nodiscard]] std::int64_t size() const noexcept { return layout_.sectorCount * sectorSize; }

    // Writes the whole disk over the file, which is open for writing; zeros become holes. A disk that is
    // larger than the free space is refused before anything is written. What an error leaves in the file is
    // worthless.
    void decodeTo(int rawFile) const;

private:
    ImageFile file_;
    UdifLayout layout_;
    std::string unpacker_;
    std::vector<Partition> partitions_;
};

} // namespace InstallerCore
