#include "hosts/linux/window/PlaybackClock.h"

namespace InstallerCore {

std::chrono::nanoseconds SteadyPlaybackClock::now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

bool SteadyPlaybackClock::waitUntil(std::chrono::nanoseconds time) {
    std::unique_lock lock(mutex_);
    const std::chrono::steady_clock::time_point until(time);
    return !changed_.wait_until(lock, until, [this] { return isStopped_; });
}

void SteadyPlaybackClock::stop() {
    {
        const std::scoped_lock lock(mutex_);
        isStopped_ = true;
    }
    changed_.notify_all();
}

} // namespace InstallerCore
