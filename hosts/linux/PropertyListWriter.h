#pragma once

#include "InstallerCore/support/PropertyValue.h"

#include <string>

namespace InstallerCore {

// The property list as XML, laid out as Apple's tools do, but data always on one line. Texts must be UTF-8 of
// characters that XML can carry: others are written as they are. Pure; any thread. Throws std::runtime_error
// for a value of the kind "other".
[[nodiscard]] std::string writePropertyList(const PropertyValue& value);

} // namespace InstallerCore
