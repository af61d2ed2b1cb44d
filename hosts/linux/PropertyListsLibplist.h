#pragma once

#include "InstallerCore/platform/PropertyLists.h"

namespace InstallerCore {

// Property lists by libplist. A document of more than 16 MiB, nested more than 256 deep or that stands for
// more than a million values (a binary one can name one value many times; see PropertyListShape.h) counts as
// corrupt: the library works by recursion. So does an empty document, and a text that is not UTF-8.
class PropertyListsLibplist final : public PropertyLists {
public:
    [[nodiscard]] PropertyValue parse(ByteView document) const override;
};

} // namespace InstallerCore
