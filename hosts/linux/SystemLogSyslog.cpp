#include "hosts/linux/SystemLogSyslog.h"

#include "InstallerCore/support/Ascii.h"

#include <syslog.h>

#include <algorithm>
#include <exception>
#include <string>

namespace InstallerCore {

SystemLogSyslog::SystemLogSyslog() noexcept {
    ::openlog("KavioInstaller", LOG_PERROR, LOG_USER);
}

void SystemLogSyslog::write(std::string_view line) noexcept {
    try {
        std::string printable(line);
        std::replace_if(printable.begin(), printable.end(), Ascii::isControl,
                        ' '); // a server may have sent it
        ::syslog(LOG_NOTICE, "%s", printable.c_str());
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): want of memory
    }
}

} // namespace InstallerCore
