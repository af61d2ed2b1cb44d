#include "hosts/linux/diskimage/DiskFailure.h"

#include <string>
#include <system_error>

namespace InstallerCore {

void throwDiskFailure(std::string_view clause, int errorNumber) {
    throw DiskImageError(std::string(clause) + ": " + std::generic_category().message(errorNumber));
}

} // namespace InstallerCore
