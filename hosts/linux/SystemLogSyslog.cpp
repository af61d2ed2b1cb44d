#include "hosts/linux/SystemLogSyslog.h"

#include "hosts/shared/LogLine.h"

#include <syslog.h>

#include <exception>

namespace InstallerCore {

SystemLogSyslog::SystemLogSyslog() noexcept {
    ::openlog("KavioInstaller", LOG_PERROR, LOG_USER);
}

void SystemLogSyslog::write(std::string_view line) noexcept {
    try {
        ::syslog(LOG_NOTICE, "%s", logLine(line).c_str());
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): want of memory
    }
}

} // namespace InstallerCore
