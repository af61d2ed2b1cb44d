#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace InstallerCore {

// The time that a video is played by.
class PlaybackClock {
public:
    virtual ~PlaybackClock() = default;

    // Never goes back.
    [[nodiscard]] virtual std::chrono::nanoseconds now() = 0;

    // Returns at that time, or earlier and false when playing is to end.
    [[nodiscard]] virtual bool waitUntil(std::chrono::nanoseconds time) = 0;
};

// The real one.
class SteadyPlaybackClock final : public PlaybackClock {
public:
    [[nodiscard]] std::chrono::nanoseconds now() override;
    [[nodiscard]] bool waitUntil(std::chrono::nanoseconds time) override;

    // Ends the wait that is on, and every one to come. From any thread.
    void stop();

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isStopped_ = false;
};

} // namespace InstallerCore
