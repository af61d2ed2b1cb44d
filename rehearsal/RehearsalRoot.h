#pragma once

#include "InstallerCore/platform/Platform.h"

#include <filesystem>
#include <utility>

namespace InstallerCore::Rehearsal {

// A directory that stands for a machine: Applications, Volumes, a home, and the tools that serve them.
class RehearsalRoot {
public:
    explicit RehearsalRoot(std::filesystem::path directory) : directory_(std::move(directory)) {}

    // Makes all of it; the directory may exist. Throws std::runtime_error.
    void install() const;

    [[nodiscard]] std::filesystem::path applications() const { return directory_ / "Applications"; }

    [[nodiscard]] std::filesystem::path home() const { return directory_ / "home"; }

    [[nodiscard]] SystemPaths paths() const;

private:
    std::filesystem::path directory_;
};

} // namespace InstallerCore::Rehearsal
