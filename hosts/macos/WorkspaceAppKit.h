#pragma once

#include "InstallerCore/platform/Workspace.h"

namespace InstallerCore {

// What the system lists as running applications.
class WorkspaceAppKit final : public Workspace {
public:
    [[nodiscard]] bool isRunning(const std::string& bundleIdentifier) const override;
};

} // namespace InstallerCore
