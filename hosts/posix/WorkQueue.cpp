#include "hosts/posix/WorkQueue.h"

#include <algorithm>
#include <system_error>

namespace InstallerCore {

WorkQueue::~WorkQueue() {
    {
        const std::lock_guard guard(lock_);
        waiting_.clear();
    }
    end();
}

void WorkQueue::push(std::function<void()> work, std::uint64_t size) {
    size_ += size;
    if (!started_ && (size_ > limits_.sizeForOne || waiting_.size() >= capacity)) {
        startThreads(); // until then the queue is the owner's alone
    }
    std::unique_lock guard(lock_);
    while (waiting_.size() >= capacity && !failure_) {
        doNext(guard);
    }
    if (failure_) {
        guard.unlock();
        finish();
    }
    waiting_.push_back({.number = pushed_++, .work = std::move(work)});
    changed_.notify_one();
}

void WorkQueue::finish() {
    {
        std::unique_lock guard(lock_);
        while (!waiting_.empty() && !failure_) {
            doNext(guard);
        }
    }
    end(); // what the others have begun may still fail
    if (failure_) {
        std::rethrow_exception(failure_);
    }
}

void WorkQueue::startThreads() {
    started_ = true;
    const unsigned others = std::clamp(std::thread::hardware_concurrency(), limits_.fewest, limits_.most) - 1;
    threads_.reserve(others);
    try {
        while (threads_.size() < others) {
            threads_.emplace_back([this] { serve(); });
        }
    } catch (const std::system_error&) { // NOLINT(bugprone-empty-catch): fewer do the same
    }
}

void WorkQueue::serve() {
    std::unique_lock guard(lock_);
    while (true) {
        changed_.wait(guard, [this] { return ending_ || !waiting_.empty(); });
        if (waiting_.empty() || failure_) {
            return;
        }
        doNext(guard);
    }
}

void WorkQueue::doNext(std::unique_lock<std::mutex>& guard) {
    Piece piece = std::move(waiting_.front());
    waiting_.pop_front();
    guard.unlock();
    std::exception_ptr failure;
    try {
        piece.work();
    } catch (...) {
        failure = std::current_exception();
    }
    piece.work = nullptr; // gives back its files before the next is begun
    guard.lock();
    if (failure && (!failure_ || piece.number < failed_)) {
        failure_ = std::move(failure);
        failed_ = piece.number;
    }
}

void WorkQueue::end() {
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

} // namespace InstallerCore
