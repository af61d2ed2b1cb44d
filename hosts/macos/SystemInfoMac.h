#pragma once

#include "InstallerCore/platform/SystemInfo.h"

namespace InstallerCore {

class SystemInfoMac final : public SystemInfo {
public:
    [[nodiscard]] bool hasArm64() const noexcept override;
    [[nodiscard]] SystemVersion version() const noexcept override;
};

} // namespace InstallerCore
