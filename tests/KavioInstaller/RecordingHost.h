#pragma once

#include "KavioInstaller/InstallerHost.h"
#include "tests/KavioInstaller/FlowLog.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace InstallerCore::Testing {

// A desktop that a test moves by hand: the main queue runs one piece of work at each pump(), the background
// goes to its next yield at each resume(). Logs each call; of a window, what changed since it was last shown.
// Fails the test when work begins in the background before the last has ended, and when something for the
// main thread comes on another.
class RecordingHost final : public InstallerHost {
public:
    // Where work on the main queue comes from.
    enum class Origin { background, waitingBackground, transfer, opening };

    explicit RecordingHost(FlowLog& log) : log_(log) {}

    // Each false when there is nothing to do.
    bool pump();
    bool resume();

    // Ends the oldest opening that still goes on, on another thread.
    bool completeOpen(const OpenResult& result);

    [[nodiscard]] bool isBusy() const { return background_ && !background_->isFinished(); }

    // What the background does when it is resumed; empty when it cannot be.
    [[nodiscard]] std::string nextInBackground() const;

    [[nodiscard]] bool isQueueEmpty() const { return queue_.empty(); }

    [[nodiscard]] Origin nextOnMain() const { return queue_.front().origin; }

    [[nodiscard]] std::size_t queuedFrom(Origin origin) const;

    // Openings whose end has not been told.
    [[nodiscard]] std::size_t opening() const { return openings_.size(); }

    std::optional<InstallerWindow> window; // as last shown
    bool isAwake = false;
    int terminations = 0;
    std::size_t works = 0; // begun in the background
    std::function<void()> onAlert;

    void onMain(std::function<void()> work) override;
    void onMainAndWait(const std::function<void()>& work) override;
    void inBackground(std::function<void()> work) override;
    void becomeRegular() override;
    void show(const InstallerWindow& shown) override;
    void orderFront() override;
    void orderOut() override;
    void beep() override;
    void runAlert(const std::string& message) override;
    void openApplication(const std::filesystem::path& application,
                         std::function<void(const OpenResult&)> completion) override;
    [[nodiscard]] std::filesystem::path mainBundle() const override;
    void holdAwake(bool awake) override;
    void terminate() override;

private:
    struct Queued {
        std::function<void()> work;
        Origin origin;
    };

    void logMain(const std::string& line) const;

    FlowLog& log_;
    std::thread::id mainThread_ = std::this_thread::get_id();
    std::deque<Queued> queue_;
    std::unique_ptr<SteppedThread> background_;
    bool isWaiting_ = false;       // the background, for the main queue
    bool isEndingOpening_ = false; // a completion runs
    std::deque<std::function<void(const OpenResult&)>> openings_;
};

} // namespace InstallerCore::Testing
