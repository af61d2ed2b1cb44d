#include "hosts/linux/SystemLogSyslog.h"

#include <syslog.h>

#include <algorithm>
#include <exception>
#include <string>

namespace InstallerCore {

namespace {

bool isControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

} // namespace

SystemLogSyslog::SystemLogSyslog() noexcept {
    ::openlog("KavioInstaller", LOG_PERROR, LOG_USER);
}

void SystemLogSyslog::write(std::string_view line) noexcept {
    try {
        std::string printable(line);
        std::replace_if(printable.begin(), printable.end(), isControl, ' '); // a server may have sent it
        ::syslog(LOG_NOTICE, "%s", printable.c_str());
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): want of memory
    }
}

} // namespace InstallerCore
