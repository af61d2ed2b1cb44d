#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace InstallerCore {

// A counting semaphore that starts at 0. Any thread. (The standard library's own can miss a wake-up in the
// oldest compiler that builds this.)
class Semaphore {
public:
    void signal() {
        const std::lock_guard guard(lock_);
        ++count_;
        // Under the lock, so that the object may be destroyed as soon as the waiter has returned.
        raised_.notify_one();
    }

    // Whether it was signalled within the time; takes one signal if so.
    [[nodiscard]] bool waitFor(std::chrono::milliseconds timeout) {
        std::unique_lock guard(lock_);
        if (!raised_.wait_for(guard, timeout, [this] { return count_ > 0; })) {
            return false;
        }
        --count_;
        return true;
    }

private:
    std::mutex lock_;
    std::condition_variable raised_;
    unsigned count_ = 0;
};

} // namespace InstallerCore
