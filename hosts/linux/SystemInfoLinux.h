#pragma once

#include "InstallerCore/platform/SystemInfo.h"

namespace InstallerCore {

class SystemInfoLinux final : public SystemInfo {
public:
    [[nodiscard]] bool hasArm64() const noexcept override;
};

} // namespace InstallerCore
