#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// How the runs of an image are stored; lzma is an xz stream each.
enum class UdifCompression { raw, zlib, bzip2, lzma };

// How runs of nothing but zeros are stored: as a zero-fill run, which the table's checksum covers; as an
// ignore run, which it does not; or like any other.
enum class UdifZeros { filled, ignored, stored };

// A stretch of the disk with a block table of its own. The kind in the name, as in "disk image (Apple_HFS :
// 1)", is how readers find the volume.
struct UdifPartition {
    std::string name;
    std::uint64_t firstSector = 0;
    std::uint64_t sectorCount = 0;
};

struct UdifOptions {
    UdifCompression compression = UdifCompression::zlib;
    UdifZeros zeros = UdifZeros::filled;
    std::uint32_t runSectors = 2048;       // 1 MiB; the last run of a table may be shorter
    std::vector<UdifPartition> partitions; // in order and without gaps; none: all of it is one HFS+ volume
};

// Wraps a raw disk, or a bare HFS+ volume, into a disk image. The same input and options give the same bytes.
// Uses all processors and about four runs of memory for each. Every failure is a std::runtime_error and
// leaves no image.
//
// An image is its runs one after the other, then a property list, then a trailer of 512 bytes. Integers are
// big-endian, a sector is 512 bytes.
//   run, 40 bytes      0 kind, 4 zero, 8 first sector in the table, 16 sectors, 24 offset in the file, 32
//   length table, 204 + runs  0 "mish", 4 version 1, 8 first sector on the disk, 16 sectors, 24 zero, 32
//   sectors of the
//                      longest run, 36 identifier, 64 checksum of what the runs decode to, 200 number of runs
//   trailer            0 "koly", 4 version 4, 8 its length, 12 flag 1, 32 length of all runs, 56 segment 1 of
//   1, 64 an
//                      identifier, 80 checksum of all runs as stored, 216 offset and 224 length of the
//                      property list, 352 checksum of the tables' checksums, 488 variant 1, 492 sectors of
//                      the disk
//   checksum, 136      0 kind 2 (CRC-32), 4 its 32 bits, 8 the value, 12 zeros
// The property list holds the tables as "blkx" resources, and a "plst" resource without content.
void writeUdif(const std::filesystem::path& rawDisk, const std::filesystem::path& image,
               const UdifOptions& options);

} // namespace InstallerCore::Rehearsal
