#pragma once

#include "InstallerCore/support/Bytes.h"

#include <vector>

namespace InstallerCore::Testing {

// One value of an ASN.1 message as it lies there, so that a test can take the message apart. Lengths may be
// indefinite: Apple's tools write them so.
struct DerNode {
    std::byte tag{};
    bool indefinite = false;
    // Where it was: the header, its content, what follows.
    std::size_t begin = 0;
    std::size_t contentBegin = 0;
    std::size_t contentEnd = 0;
    std::size_t end = 0;
    Bytes content;                 // of a primitive value
    std::vector<DerNode> children; // of a constructed one

    [[nodiscard]] bool isConstructed() const { return (tag & std::byte{0x20}) != std::byte{0}; }
};

// The value at the beginning of the bytes. Throws std::runtime_error.
[[nodiscard]] DerNode parseDer(ByteView bytes);

// With new lengths; where the values were is not looked at.
[[nodiscard]] Bytes encodeDer(const DerNode& node);

} // namespace InstallerCore::Testing
