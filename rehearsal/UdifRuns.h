#pragma once

#include "rehearsal/UdifWriter.h"

#include <string>
#include <string_view>

namespace InstallerCore::Rehearsal {

// The kinds of a run.
inline constexpr std::uint32_t udifZeroFill = 0;
inline constexpr std::uint32_t udifRaw = 1;
inline constexpr std::uint32_t udifIgnore = 2;
inline constexpr std::uint32_t udifZlib = 0x80000005;
inline constexpr std::uint32_t udifBzip2 = 0x80000006;
inline constexpr std::uint32_t udifLzma = 0x80000008;
inline constexpr std::uint32_t udifTerminator = 0xffffffff;

// A run's kind and its bytes as stored.
struct EncodedRun {
    std::uint32_t kind = udifRaw;
    std::string stored;
};

// Chooses the kind and encodes; what does not shrink is stored raw. Pure; any thread. Throws
// std::runtime_error.
[[nodiscard]] EncodedRun encodeRun(std::string content, UdifCompression compression, UdifZeros zeros);

} // namespace InstallerCore::Rehearsal
