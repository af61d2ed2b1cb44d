#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace InstallerCore::CodeSign {

// Checks that throw when they fail, made on all cores while their owner goes on finding more of them. At
// most `capacity` wait; the owner's thread takes part when there is no more room. Once a check has failed no
// new one begins. The failure that is reported is that of the check that was pushed first among those that
// failed, so it is the same each time.
class CheckQueue {
public:
    static constexpr std::size_t capacity = 64;

    CheckQueue() = default;
    CheckQueue(const CheckQueue&) = delete;
    CheckQueue& operator=(const CheckQueue&) = delete;
    ~CheckQueue(); // drops what nobody has begun, and waits for the rest

    // Throws what finish() would when a check has failed by then.
    void push(std::function<void()> check);

    // Returns when all checks were made, or throws what failed.
    void finish();

private:
    struct Check {
        std::size_t number;
        std::function<void()> work;
    };

    void startThreads();
    void serve();
    void makeNext(std::unique_lock<std::mutex>& guard);
    void end();

    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<Check> waiting_;
    std::size_t pushed_ = 0;
    bool ending_ = false;
    std::exception_ptr failure_;
    std::size_t failed_ = 0;           // the number of the check that failed
    std::vector<std::thread> threads_; // the owner's
};

} // namespace InstallerCore::CodeSign
