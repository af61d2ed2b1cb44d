#pragma once

#include <chrono>

namespace InstallerCore {

using WallTime = std::chrono::system_clock::time_point;

// Time as the core needs it; a test's clock passes hours without waiting. May be called from any thread.
class Clock {
public:
    virtual ~Clock() = default;

    [[nodiscard]] virtual WallTime now() const = 0;

    // Blocks the calling thread.
    virtual void sleep(std::chrono::milliseconds duration) = 0;
};

} // namespace InstallerCore
