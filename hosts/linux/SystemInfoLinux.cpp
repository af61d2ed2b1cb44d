#include "hosts/linux/SystemInfoLinux.h"

#include <sys/utsname.h>

#include <string_view>

namespace InstallerCore {

bool SystemInfoLinux::hasArm64() const noexcept {
    utsname names{};
    return ::uname(&names) == 0 && std::string_view(&names.machine[0]) == "aarch64";
}

SystemVersion SystemInfoLinux::version() const noexcept {
    return {.major = 14, .minor = 0, .patch = 0};
}

} // namespace InstallerCore
