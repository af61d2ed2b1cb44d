#pragma once

#include "InstallerCore/support/Bytes.h"

#include <optional>

namespace InstallerCore {

enum class PropertyListKind { xml, binary };

// What a document is to be read as, decided before a system's parser sees it: those parsers work by
// recursion, guess at the kind, and follow an encoding that the document names. Absent when the document is
// corrupt or not one that is read here:
//
// - longer than 16 MiB, nested more than 256 deep or standing for more than a million values (a binary
//   one can name one value many times; see PropertyListShape.h),
// - XML in another encoding than UTF-8, or said to be in one.
//
// A document of a kind may still be corrupt.
[[nodiscard]] std::optional<PropertyListKind> propertyListKind(ByteView document);

} // namespace InstallerCore
