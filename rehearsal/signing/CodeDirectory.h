#pragma once

#include "rehearsal/signing/CodeSigner.h"

namespace InstallerCore::Rehearsal {

namespace DirectoryFlag {
inline constexpr std::uint32_t adHoc = 0x2;
inline constexpr std::uint32_t hardenedRuntime = 0x10000;
} // namespace DirectoryFlag

struct DirectoryFields {
    SignatureHash hash;
    std::string identifier;
    std::string team; // empty: none
    std::uint32_t flags = 0;
    std::uint32_t version = 0;
    std::map<unsigned, ByteView> specialSlots; // by the slot's number without its sign
};

// A code directory over the subject. Big-endian:
//   0 magic, 4 length, 8 version, 12 flags, 16 offset of the hash of page 0, 20 offset of the identifier,
//   24 number of special slots, 28 number of pages, 32 code limit, 36 size of a hash, 37 its type, 38
//   platform, 39 page size as a power of two, 40 spare, 44 scatter offset (0x20100), 48 team offset
//   (0x20200), 52 spare and 56 code limit in 64 bits (0x20300), 64 base, 72 limit and 80 flags of the
//   executable segment (0x20400), 88 runtime version and 92 pre-encryption offset (0x20500); the identifier
//   and the team, each with a NUL; the hashes, those of the special slots first and counted backwards.
// Versions in parentheses tell since when a field is there.
[[nodiscard]] Bytes makeCodeDirectory(const CodeSubject& subject, const DirectoryFields& fields);

// What a code directory says of itself.
[[nodiscard]] std::string identifierOf(ByteView codeDirectory);
[[nodiscard]] bool isAdHoc(ByteView codeDirectory);

[[nodiscard]] std::size_t pageCount(std::size_t size, unsigned pageSizeBits);

} // namespace InstallerCore::Rehearsal
