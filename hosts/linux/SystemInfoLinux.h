#pragma once

#include "InstallerCore/platform/SystemInfo.h"

namespace InstallerCore {

class SystemInfoLinux final : public SystemInfo {
public:
    [[nodiscard]] bool hasArm64() const noexcept override;

    // Of the macOS that this host stands for; fixed when it was built.
    [[nodiscard]] SystemVersion version() const noexcept override;
};

} // namespace InstallerCore
