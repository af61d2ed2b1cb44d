#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace InstallerCore::CodeSign {

// One architecture of an executable file. The views lie within the file's bytes.
struct MachOSlice {
    std::string architecture; // as in "arm64"; "" when the file has only this one and no list
    ByteView image;           // all of it
    std::uint64_t signatureOffset = 0;
    ByteView signature; // what LC_CODE_SIGNATURE points to; empty when there is none
    ByteView infoPlist; // the section __TEXT,__info_plist; empty when there is none
};

// Whether the file begins like a Mach-O file, of one architecture or universal.
[[nodiscard]] bool isMachO(ByteView file);

// The slices in the order of the file. Everything that strict validation asks of the layout is checked: no
// bytes but zeros between the slices, none behind the last, __LINKEDIT and in it the signature at the end.
// Each slice is for the processor that the list names. Throws SignatureError. Pure; any thread.
//
// Layouts: <mach-o/loader.h> and <mach-o/fat.h> of Apple's headers.
[[nodiscard]] std::vector<MachOSlice> machOSlices(ByteView file);

} // namespace InstallerCore::CodeSign
