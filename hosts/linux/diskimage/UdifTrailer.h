#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <optional>

namespace InstallerCore {

// The last 512 bytes of a disk image: what lies where before them. Big-endian: "koly", version, size, flags;
// at 24 offset and length of the data fork, at 56 number and count of segments, at 80 the checksum of the
// data fork, at 216 offset and length of the property list, at 352 the master checksum, at 492 the count of
// sectors.
struct UdifTrailer {
    static constexpr std::size_t size = 512;

    std::int64_t dataOffset; // of the data fork, where the runs are stored, in bytes of the file
    std::int64_t dataLength;
    std::int64_t listOffset; // of the property list with the block tables
    std::int64_t listLength;
    std::int64_t sectorCount;                  // of the decoded disk; in bytes, it fits as well
    std::optional<std::uint32_t> dataChecksum; // of the data fork as it is stored
    std::uint32_t masterChecksum;              // of the checksums of the block tables, one after the other
};

// Both stretches are found to lie before the trailer. Throws DiskImageError. Needs the trailer's size of
// bytes.
[[nodiscard]] UdifTrailer parseTrailer(ByteView bytes, std::int64_t fileSize);

} // namespace InstallerCore
