#pragma once

#include "hosts/posix/QuitSignalNumbers.h"

#include <dispatch/dispatch.h>

#include <array>
#include <functional>

namespace InstallerCore {

// Hears SIGTERM, SIGINT and SIGHUP, which then do nothing else. For the main thread, and there once in a
// process.
class QuitSignals {
public:
    // Called on the main queue each time one comes.
    explicit QuitSignals(std::function<void()> heard);

private:
    std::array<dispatch_source_t, quitSignals.size()> sources_;
};

} // namespace InstallerCore
