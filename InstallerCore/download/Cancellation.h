#pragma once

#include <mutex>

namespace InstallerCore {

// The flag that the user interface sets and every long step of a run polls. Shared by reference; any thread.
// Once set it stays set: a new run makes a new object.
class Cancellation {
public:
    Cancellation() = default;
    Cancellation(const Cancellation&) = delete;
    Cancellation& operator=(const Cancellation&) = delete;

    void cancel();
    [[nodiscard]] bool isCancelled() const;

    // Throws InstallerError "Download paused. Open the installer again to resume." when the flag is set.
    void check() const;

private:
    mutable std::mutex lock_;
    bool cancelled_ = false;
};

} // namespace InstallerCore
