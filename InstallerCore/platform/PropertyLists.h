#pragma once

#include "InstallerCore/support/PropertyValue.h"

namespace InstallerCore {

// Reading of property lists, XML and binary. May be called from any thread.
class PropertyLists {
public:
    virtual ~PropertyLists() = default;

    // Any kind of value may be at the top. Throws a PlatformError of the property-list domain.
    [[nodiscard]] virtual PropertyValue parse(ByteView document) const = 0;
};

} // namespace InstallerCore
