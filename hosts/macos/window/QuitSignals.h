#pragma once

#include <dispatch/dispatch.h>

#include <array>
#include <csignal>
#include <functional>

namespace InstallerCore {

// Hears SIGTERM, SIGINT and SIGHUP, which then do nothing else. For the main thread, and there once in a
// process.
class QuitSignals {
public:
    // Called on the main queue each time one comes.
    explicit QuitSignals(std::function<void()> heard);

private:
    static constexpr std::array<int, 3> numbers = {SIGTERM, SIGINT, SIGHUP};

    std::array<dispatch_source_t, numbers.size()> sources_;
};

} // namespace InstallerCore
