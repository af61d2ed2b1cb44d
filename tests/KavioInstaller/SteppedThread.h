#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace InstallerCore::Testing {

// A thread that runs only when its owner lets it: from each resume() to its next yield(). The two take turns,
// so a test decides every interleaving, and what they share needs no lock.
class SteppedThread {
public:
    // Does nothing of the work before the first resume().
    explicit SteppedThread(std::function<void()> work);
    SteppedThread(const SteppedThread&) = delete;
    SteppedThread& operator=(const SteppedThread&) = delete;

    // The work must have come to its end.
    ~SteppedThread();

    // Returns when the work yields or ends.
    void resume();

    [[nodiscard]] bool isFinished() const { return isFinished_; }

    // What the thread said it would do next.
    [[nodiscard]] const std::string& next() const { return next_; }

    // The caller is such a thread.
    [[nodiscard]] static bool isCurrent();

    // On such a thread, waits for the owner's next resume(); does nothing on any other.
    static void yield(const std::string& next);

private:
    enum class Turn { owner, work };

    void giveTurnTo(Turn turn);
    void awaitTurnOf(Turn turn);

    std::mutex lock_;
    std::condition_variable turned_;
    Turn turn_ = Turn::owner;
    bool isFinished_ = false; // like next_, of whoever's turn it is
    std::string next_;
    std::thread thread_; // the last: it uses all the others
};

} // namespace InstallerCore::Testing
