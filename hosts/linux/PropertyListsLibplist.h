#pragma once

#include "InstallerCore/platform/PropertyLists.h"

namespace InstallerCore {

// Property lists by libplist, of the documents that hosts/shared/PropertyListDocument.h lets through; any
// other counts as corrupt. So does an empty document, and a text that is not UTF-8.
class PropertyListsLibplist final : public PropertyLists {
public:
    [[nodiscard]] PropertyValue parse(ByteView document) const override;
};

} // namespace InstallerCore
