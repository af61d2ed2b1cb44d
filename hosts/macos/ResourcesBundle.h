#pragma once

#include "InstallerCore/platform/Resources.h"

namespace InstallerCore {

// The resources of the application's bundle.
class ResourcesBundle final : public Resources {
public:
    [[nodiscard]] std::optional<std::filesystem::path> find(const std::string& name,
                                                            const std::string& extension) const override;
};

} // namespace InstallerCore
