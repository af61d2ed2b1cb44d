#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <optional>
#include <string>

namespace InstallerCore {

// A CRC-32 as UDIF records it: its kind (0 for none, 2 for this one), its size in bits and 128 bytes of which
// the first four count. Absent when there is none; throws DiskImageError for any other kind, naming what it
// is of.
[[nodiscard]] std::optional<std::uint32_t> parseChecksum(ByteView record, const std::string& of);

// The CRC-32 of more bytes behind those of the checksum so far, which starts at 0.
[[nodiscard]] std::uint32_t crc32(std::uint32_t soFar, ByteView bytes);

// The CRC-32 of two stretches from the checksums of each; the length is the second one's, in bytes.
[[nodiscard]] std::uint32_t combineCrc32(std::uint32_t first, std::uint32_t second,
                                         std::int64_t secondLength);

// The CRC-32 of that many zeros, at no cost that grows with their number.
[[nodiscard]] std::uint32_t crc32OfZeros(std::int64_t length);

} // namespace InstallerCore
