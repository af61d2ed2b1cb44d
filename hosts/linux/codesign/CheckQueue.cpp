#include "hosts/linux/codesign/CheckQueue.h"

#include <algorithm>
#include <system_error>

namespace InstallerCore::CodeSign {

namespace {

constexpr std::size_t mostThreads = 8;

} // namespace

CheckQueue::~CheckQueue() {
    {
        const std::lock_guard guard(lock_);
        waiting_.clear();
    }
    end();
}

void CheckQueue::push(std::function<void()> check) {
    startThreads();
    std::unique_lock guard(lock_);
    while (waiting_.size() >= capacity && !failure_) {
        makeNext(guard);
    }
    if (failure_) {
        guard.unlock();
        finish();
    }
    waiting_.push_back({.number = pushed_++, .work = std::move(check)});
    changed_.notify_one();
}

void CheckQueue::finish() {
    {
        std::unique_lock guard(lock_);
        while (!waiting_.empty() && !failure_) {
            makeNext(guard);
        }
    }
    end(); // what the others have begun may still fail
    if (failure_) {
        std::rethrow_exception(failure_);
    }
}

// One thread less than there are cores: the owner's is busy too. Without any, the owner makes all checks.
void CheckQueue::startThreads() {
    if (pushed_ != 0) {
        return; // also because asking for the number of cores takes longer than a small check
    }
    const std::size_t others =
        std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, mostThreads) - 1;
    threads_.reserve(others);
    try {
        while (threads_.size() < others) {
            threads_.emplace_back([this] { serve(); });
        }
    } catch (const std::system_error&) { // NOLINT(bugprone-empty-catch): fewer do the same
    }
}

void CheckQueue::serve() {
    std::unique_lock guard(lock_);
    while (true) {
        changed_.wait(guard, [this] { return ending_ || !waiting_.empty(); });
        if (waiting_.empty() || failure_) {
            return;
        }
        makeNext(guard);
    }
}

void CheckQueue::makeNext(std::unique_lock<std::mutex>& guard) {
    Check check = std::move(waiting_.front());
    waiting_.pop_front();
    guard.unlock();
    std::exception_ptr failure;
    try {
        check.work();
        check.work = nullptr; // gives back its files before the next is begun
    } catch (...) {
        failure = std::current_exception();
    }
    guard.lock();
    if (failure && (!failure_ || check.number < failed_)) {
        failure_ = std::move(failure);
        failed_ = check.number;
    }
}

void CheckQueue::end() {
    {
        const std::lock_guard guard(lock_);
        ending_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) {
        thread.join();
    }
    threads_.clear();
}

} // namespace InstallerCore::CodeSign
