#pragma once

#include "InstallerCore/platform/PropertyLists.h"

namespace InstallerCore {

// Property lists by NSPropertyListSerialization, of the documents that hosts/shared/PropertyListDocument.h
// lets through; any other counts as corrupt. So does a text that has no form in UTF-8.
class PropertyListsFoundation final : public PropertyLists {
public:
    [[nodiscard]] PropertyValue parse(ByteView document) const override;
};

} // namespace InstallerCore
