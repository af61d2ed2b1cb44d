#pragma once

#include "InstallerCore/platform/SystemLog.h"

namespace InstallerCore {

// syslog under the name KavioInstaller, and standard error.
class SystemLogSyslog final : public SystemLog {
public:
    SystemLogSyslog() noexcept;
    void write(std::string_view line) noexcept override;
};

} // namespace InstallerCore
