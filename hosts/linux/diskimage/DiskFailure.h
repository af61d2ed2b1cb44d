#pragma once

#include "hosts/linux/diskimage/DiskImageError.h"

#include <string_view>

namespace InstallerCore {

// A DiskImageError of the clause and what errno says.
[[noreturn]] void throwDiskFailure(std::string_view clause, int errorNumber);

} // namespace InstallerCore
