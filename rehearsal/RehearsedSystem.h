#pragma once

#include "InstallerCore/platform/SystemInfo.h"

#include <string>

namespace InstallerCore::Rehearsal {

// The facts about the machine that a rehearsal stands for. Any thread.
class RehearsedSystem final : public SystemInfo {
public:
    // Three decimal numbers, as in 14.0.0, and "arm64" or "x64"; empty texts: as the given machine has it.
    // Throws std::runtime_error for other texts.
    RehearsedSystem(const SystemInfo& machine, const std::string& version, const std::string& architecture);

    [[nodiscard]] bool hasArm64() const noexcept override { return hasArm64_; }

    [[nodiscard]] SystemVersion version() const noexcept override { return version_; }

private:
    SystemVersion version_;
    bool hasArm64_;
};

} // namespace InstallerCore::Rehearsal
