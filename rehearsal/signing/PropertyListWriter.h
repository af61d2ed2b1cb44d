#pragma once

#include "InstallerCore/support/PropertyValue.h"

#include <string>

namespace InstallerCore::Rehearsal {

// The property list as XML, laid out as Apple's tools do, but data always on one line. Control characters in
// texts are written as they are. Throws std::runtime_error for a value of the kind "other".
[[nodiscard]] std::string writePropertyList(const PropertyValue& value);

} // namespace InstallerCore::Rehearsal
