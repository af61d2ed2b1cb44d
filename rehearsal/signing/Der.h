#pragma once

#include "InstallerCore/support/Bytes.h"

#include <initializer_list>

namespace InstallerCore::Rehearsal {

// The bytes of all, one behind the other.
[[nodiscard]] inline Bytes join(std::initializer_list<ByteView> parts) {
    Bytes all;
    for (const ByteView part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// Tags of DER, as far as they are used here.
namespace Der {
inline constexpr unsigned char boolean = 0x01;
inline constexpr unsigned char integer = 0x02;
inline constexpr unsigned char octetString = 0x04;
inline constexpr unsigned char utf8Text = 0x0c;
inline constexpr unsigned char sequence = 0x30;
inline constexpr unsigned char set = 0x31;
inline constexpr unsigned char entitlements = 0x70; // APPLICATION 16
inline constexpr unsigned char dictionary = 0xb0;   // 16, specific to its context

// One value: tag, length in the shortest form, content.
[[nodiscard]] Bytes value(unsigned char tag, ByteView content);
} // namespace Der

} // namespace InstallerCore::Rehearsal
