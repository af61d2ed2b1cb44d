#pragma once

#include "InstallerCore/platform/Clock.h"

namespace InstallerCore {

class ClockSystem final : public Clock {
public:
    [[nodiscard]] WallTime now() const override;
    void sleep(std::chrono::milliseconds duration) override;
};

} // namespace InstallerCore
