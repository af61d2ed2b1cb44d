#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace InstallerCore {

struct UdifTrailer;

inline constexpr std::int64_t sectorSize = 512; // bytes

enum class RunKind : std::uint32_t {
    zeroFill = 0,
    raw = 1,
    ignore = 2, // zeros that the table's checksum leaves out
    adc = 0x80000004,
    zlib = 0x80000005,
    bzip2 = 0x80000006,
    lzfse = 0x80000007,
    lzma = 0x80000008, // in the container that xz writes
};

// Neighbouring sectors of the disk and where they are stored.
struct Run {
    RunKind kind;
    std::int64_t firstSector; // of the disk
    std::int64_t sectorCount;
    std::int64_t storedAt; // bytes, in the image file; 0 when nothing is stored
    std::int64_t storedLength;
};

// What one partition of the disk consists of. Its runs follow each other without a gap.
struct BlockTable {
    std::string name;
    std::int64_t firstSector;
    std::int64_t sectorCount;
    std::uint32_t checksum; // CRC-32 of the decoded runs, ignored ones left out
    std::vector<Run> runs;
};

// Decoded and stored, a compressed run is held in memory.
inline constexpr std::int64_t longestDecodedRun = std::int64_t{64} << 20;
inline constexpr std::int64_t longestStoredRun = longestDecodedRun + longestDecodedRun / 16;

[[nodiscard]] bool isStored(RunKind kind);     // has bytes of its own in the file
[[nodiscard]] bool isCompressed(RunKind kind); // stored, but not raw

// Reads the table, named as the reader likes to call it in errors. Big-endian: "mish", version, first sector
// and count of sectors, offset of the data in the data fork; at 64 the checksum, at 200 the count of runs, at
// 204 the runs of 40 bytes: kind, comment, first sector in the table, count, offset and length of what is
// stored. The last run is a terminator. Everything lies within the disk and the data fork. Throws
// DiskImageError.
[[nodiscard]] BlockTable parseBlockTable(ByteView bytes, const UdifTrailer& trailer,
                                         const std::string& calledInErrors);

} // namespace InstallerCore
