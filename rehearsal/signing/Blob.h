#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <map>

namespace InstallerCore::Rehearsal {

// The kinds of blob that signatures consist of, by their first four bytes.
namespace Magic {
inline constexpr std::uint32_t requirement = 0xfade0c00;
inline constexpr std::uint32_t requirements = 0xfade0c01; // a super-blob
inline constexpr std::uint32_t codeDirectory = 0xfade0c02;
inline constexpr std::uint32_t wrapper = 0xfade0b01;           // around a CMS message
inline constexpr std::uint32_t embeddedSignature = 0xfade0cc0; // a super-blob
inline constexpr std::uint32_t entitlements = 0xfade7171;
inline constexpr std::uint32_t derEntitlements = 0xfade7172;
} // namespace Magic

// The places of blobs in an embedded signature.
namespace Slot {
inline constexpr std::uint32_t codeDirectory = 0;
inline constexpr std::uint32_t requirements = 2;
inline constexpr std::uint32_t entitlements = 5;
inline constexpr std::uint32_t derEntitlements = 7;
inline constexpr std::uint32_t moreCodeDirectories = 0x1000; // and following
inline constexpr std::uint32_t signature = 0x10000;
} // namespace Slot

// Big-endian: magic, length of the whole, content.
[[nodiscard]] Bytes makeBlob(std::uint32_t magic, ByteView content);

// Big-endian: magic, length of the whole, count; for each blob its slot and offset; the blobs.
[[nodiscard]] Bytes makeSuperBlob(std::uint32_t magic, const std::map<std::uint32_t, ByteView>& blobs);

// The blobs of a super-blob, which may be followed by anything. Throws std::runtime_error.
[[nodiscard]] std::map<std::uint32_t, ByteView> readSuperBlob(std::uint32_t magic, ByteView bytes);

} // namespace InstallerCore::Rehearsal
