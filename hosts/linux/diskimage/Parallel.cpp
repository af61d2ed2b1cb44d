#include "hosts/linux/diskimage/Parallel.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace InstallerCore {

namespace {

constexpr std::size_t mostThreads = 8;

class Distribution {
public:
    explicit Distribution(std::size_t count) : count_(count) {}

    void run(const std::function<Work()>& makeWork) {
        std::size_t current = 0; // a failure to begin counts as the first
        try {
            const Work work = makeWork();
            while (const auto index = next()) {
                current = *index;
                work(current);
            }
        } catch (...) {
            fail(current, std::current_exception());
        }
    }

    void rethrow() const {
        if (error_) {
            std::rethrow_exception(error_);
        }
    }

private:
    std::optional<std::size_t> next() {
        const std::lock_guard guard(lock_);
        return error_ || next_ == count_ ? std::nullopt : std::optional(next_++);
    }

    void fail(std::size_t index, std::exception_ptr error) {
        const std::lock_guard guard(lock_);
        if (!error_ || index < failed_) {
            failed_ = index;
            error_ = std::move(error);
        }
    }

    const std::size_t count_;
    std::mutex lock_;
    std::size_t next_ = 0;
    std::size_t failed_ = 0;
    std::exception_ptr error_;
};

} // namespace

void runOnAllCores(std::size_t count, const std::function<Work()>& makeWork) {
    const std::size_t cores = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, mostThreads);
    Distribution distribution(count);
    std::vector<std::thread> others;
    others.reserve(cores);
    // Fewer threads than there should be do the same work.
    const auto addThread = [&] {
        try {
            others.emplace_back([&] { distribution.run(makeWork); });
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    };
    while (others.size() + 1 < std::min(cores, count) && addThread()) {
    }
    distribution.run(makeWork);
    for (std::thread& thread : others) {
        thread.join();
    }
    distribution.rethrow();
}

} // namespace InstallerCore
