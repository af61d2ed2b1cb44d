#pragma once

#include <string_view>

namespace InstallerCore {

// Orders two versions of the form major.minor.patch by value, not by text: -1 when a is lower than b, 0 when
// they are equal, 1 when a is higher. Throws InstallerError "Invalid version" when either has another form or
// a component does not fit in 64 bits; a is looked at first. Pure; any thread.
int compareVersion(std::string_view a, std::string_view b);

} // namespace InstallerCore
