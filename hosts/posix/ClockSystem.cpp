#include "hosts/posix/ClockSystem.h"

#include <thread>

namespace InstallerCore {

WallTime ClockSystem::now() const {
    return std::chrono::system_clock::now();
}

void ClockSystem::sleep(std::chrono::milliseconds duration) {
    std::this_thread::sleep_for(duration);
}

} // namespace InstallerCore
