#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <utility>

namespace InstallerCore::Testing {

// Called before the system calls of the code under test with their names, on its thread: what another process
// could do at that moment, the test does here. The call fails with the errno that is returned, unless it is
// 0. Changed only while nothing is copied.
extern std::function<int(const std::string& call)> onCopyCall;

// Steps in once, at the n-th call of that name (from 1), as long as it lives.
class AtCopyCall {
public:
    AtCopyCall(std::string call, int number, std::function<int()> step) {
        onCopyCall = [this, call = std::move(call), number, step = std::move(step)](const std::string& name) {
            return name == call && ++seen_ == number ? step() : 0;
        };
    }

    AtCopyCall(const AtCopyCall&) = delete;
    AtCopyCall& operator=(const AtCopyCall&) = delete;

    ~AtCopyCall() { onCopyCall = nullptr; }

    // How many calls of that name there were.
    [[nodiscard]] int seen() const { return seen_; }

private:
    std::atomic<int> seen_ = 0;
};

} // namespace InstallerCore::Testing
