#pragma once

#include "InstallerCore/platform/SystemLog.h"

namespace InstallerCore {

// NSLog: the unified log, under the name of the process, and standard error.
class SystemLogMac final : public SystemLog {
public:
    void write(std::string_view line) noexcept override;
};

} // namespace InstallerCore
