#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace InstallerCore::Rehearsal {

// One slice of an executable file.
struct MachOSlice {
    std::uint32_t processor;
    std::uint32_t processorKind;
    unsigned alignment; // as a power of two
    ByteView content;
};

[[nodiscard]] bool isUniversal(ByteView file);

// The slices of a universal file, or the whole of a thin one. Throws std::runtime_error.
[[nodiscard]] std::vector<MachOSlice> slicesOf(ByteView file);

// A universal file of these slices, each at a multiple of its alignment.
[[nodiscard]] Bytes makeUniversal(const std::vector<MachOSlice>& slices);

// What signing has to know of a slice's load commands. Offsets are in the slice.
struct MachOLayout {
    std::uint32_t processor = 0;
    bool program = false;     // rather than a library
    std::size_t commands = 0; // their number
    std::size_t commandsEnd = 0;
    std::size_t firstSection = 0;                // the first content behind the commands
    std::optional<std::size_t> signatureCommand; // LC_CODE_SIGNATURE
    std::size_t signatureOffset = 0;
    std::optional<std::size_t> linkEditCommand; // LC_SEGMENT_64 of __LINKEDIT
    std::uint64_t textSize = 0;                 // of __TEXT
    std::optional<std::uint32_t> systemVersion; // of the SDK
    ByteView infoPlist;                         // __TEXT,__info_plist
};

// The load commands of one slice, which the bytes are. Throws std::runtime_error.
[[nodiscard]] MachOLayout readLayout(ByteView file);

// Enters the place of the signature into the load commands of a slice, with a new one when there was none: it
// follows what the slice now holds. Throws std::runtime_error when there is no room for a command.
void setSignaturePlace(Bytes& file, const MachOLayout& layout, std::size_t room);

[[nodiscard]] Bytes readBytes(const std::filesystem::path& path);

// In place: the mode stays.
void writeBytes(const std::filesystem::path& path, ByteView content);

} // namespace InstallerCore::Rehearsal
