#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstddef>

namespace InstallerCore {

// What a property list unfolds to, found without recursion and before a parser that uses it sees the
// document.
struct PropertyListLimits {
    std::size_t depth;  // of containers in one another
    std::size_t values; // each counted as often as it is referred to, a long text or data as several
};

// Whether the document keeps the limits. True also for many a document that is corrupt; false for a binary
// one whose references go in a circle or lead nowhere or whose texts hold NUL, and for an XML one with
// elements, attributes or declarations that property lists do not have. The binary layout is the one that
// CFBinaryPList.c of Apple's CoreFoundation documents.
[[nodiscard]] bool keepsLimits(ByteView document, const PropertyListLimits& limits);

} // namespace InstallerCore
