#pragma once

#include <functional>
#include <string>
#include <utility>

namespace InstallerCore::Testing {

// Called before each of the system calls openat, fstatat, fstat, fsync, renameat, renameat2, unlinkat,
// fchmodat, mkdirat and flock of the code under test, with its name: what another process could do at that
// moment, the test does here.
extern std::function<void(const std::string& call)> beforeSystemCall;

// Steps in once, just before the next call of that name, as long as it lives.
class StepIn {
public:
    StepIn(std::string call, std::function<void()> step) {
        beforeSystemCall = [this, call = std::move(call), step = std::move(step)](const std::string& name) {
            if (name == call && !std::exchange(done_, true)) {
                step();
            }
        };
    }

    StepIn(const StepIn&) = delete;
    StepIn& operator=(const StepIn&) = delete;

    ~StepIn() { beforeSystemCall = nullptr; }

    [[nodiscard]] bool done() const { return done_; }

private:
    bool done_ = false;
};

// Lets every fstatat, fsync or renameat2 fail with the error as long as it lives; 0 lets it be.
class FailingCall {
public:
    FailingCall(std::string call, int errorNumber);
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;
    ~FailingCall();

private:
    std::string call_;
};

} // namespace InstallerCore::Testing
