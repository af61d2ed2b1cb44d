#pragma once

#include "InstallerCore/platform/Resources.h"

namespace InstallerCore {

// Regular files in one directory, symbolic links to such included.
class ResourcesLinux final : public Resources {
public:
    // An empty path stands for no directory: nothing is found.
    explicit ResourcesLinux(std::filesystem::path directory) : directory_(std::move(directory)) {}

    // Where an installed program has them: "../share/kavio-installer" from the directory of this process's
    // executable. Empty when the executable cannot be told.
    [[nodiscard]] static std::filesystem::path ofThisProgram();

    [[nodiscard]] std::optional<std::filesystem::path> find(const std::string& name,
                                                            const std::string& extension) const override;

private:
    std::filesystem::path directory_;
};

} // namespace InstallerCore
