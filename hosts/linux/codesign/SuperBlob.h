#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <map>

namespace InstallerCore::CodeSign {

// The places of blobs in a signature, as cs_blobs.h of Apple's XNU names them (CSSLOT_...). A special slot of
// a code directory seals the blob at the same number.
namespace Slot {
inline constexpr std::uint32_t codeDirectory = 0;
inline constexpr std::uint32_t infoPlist = 1;
inline constexpr std::uint32_t requirements = 2;
inline constexpr std::uint32_t resources = 3;
inline constexpr std::uint32_t topDirectory = 4;
inline constexpr std::uint32_t entitlements = 5;
inline constexpr std::uint32_t representation = 6; // of the code, such as the trailer of a disk image
inline constexpr std::uint32_t alternateDirectories = 0x1000; // and the four that follow
inline constexpr std::uint32_t alternateDirectoriesEnd = 0x1005;
inline constexpr std::uint32_t cms = 0x10000;
} // namespace Slot

// The blobs of a signature by their slots, each with its header of eight bytes.
using SignatureBlobs = std::map<std::uint32_t, ByteView>;

inline constexpr std::uint32_t codeDirectoryMagic = 0xfade0c02;
inline constexpr std::uint32_t cmsMagic = 0xfade0b01;
inline constexpr std::size_t blobHeaderSize = 8;

// A blob's kind, after a check that its length is that of the bytes. Throws SignatureError.
[[nodiscard]] std::uint32_t blobMagic(ByteView blob);

// Reads an embedded signature (magic 0xfade0cc0, big-endian: length, count, then a slot and an offset each).
// Behind it there may be anything: tools that put a shorter signature in the place of a longer one leave the
// rest. The blobs are views of the given bytes. Throws SignatureError. Pure.
[[nodiscard]] SignatureBlobs readSuperBlob(ByteView signature);

} // namespace InstallerCore::CodeSign
