#pragma once

#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/PropertyLists.h"
#include "InstallerCore/platform/Workspace.h"

#include <filesystem>
#include <optional>
#include <string>

namespace InstallerCore {

// The running applications, as /proc tells them: a process belongs to the innermost bundle around its
// executable, also when that has been deleted since it was started, as long as a bundle is left around its
// place. Processes that this user may not look at are not seen. The services must outlive this object.
class WorkspaceProc final : public Workspace {
public:
    WorkspaceProc(Files& files, const PropertyLists& propertyLists)
        : files_(files), propertyLists_(propertyLists) {}

    [[nodiscard]] bool isRunning(const std::string& bundleIdentifier) const override;

private:
    [[nodiscard]] std::optional<std::string> identifierOf(const std::filesystem::path& executable) const;

    Files& files_;
    const PropertyLists& propertyLists_;
};

} // namespace InstallerCore
