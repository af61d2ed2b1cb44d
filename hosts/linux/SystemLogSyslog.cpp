#include "hosts/linux/SystemLogSyslog.h"

#include <syslog.h>

namespace InstallerCore {

SystemLogSyslog::SystemLogSyslog() noexcept {
    ::openlog("KavioInstaller", LOG_PERROR, LOG_USER);
}

void SystemLogSyslog::write(std::string_view line) noexcept {
    ::syslog(LOG_NOTICE, "%.*s", static_cast<int>(line.size()), line.data());
}

} // namespace InstallerCore
