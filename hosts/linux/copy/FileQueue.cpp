#include "hosts/linux/copy/FileQueue.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace InstallerCore {

namespace {

// The owner's is the other one.
unsigned helperCount() {
    return std::clamp(std::thread::hardware_concurrency(), 2U, 4U) - 1;
}

} // namespace

FileQueue::~FileQueue() {
    {
        const std::lock_guard guard(lock_);
        files_.clear();
    }
    end();
}

void FileQueue::push(FileCopy file) {
    std::unique_lock guard(lock_);
    bytes_ += file.status.st_size;
    files_.push_back(std::move(file));
    if (threads_.empty() && (files_.size() >= capacity || bytes_ > smallTree)) {
        startThreads();
    }
    changed_.notify_one();
    while (files_.size() >= capacity && workOnNext(guard)) {
    }
    if (error_) {
        std::rethrow_exception(error_);
    }
}

void FileQueue::finish() {
    {
        std::unique_lock guard(lock_);
        while (workOnNext(guard)) {
        }
    }
    end();
    if (error_) {
        std::rethrow_exception(error_);
    }
}

void FileQueue::startThreads() {
    try {
        while (threads_.size() < helperCount()) {
            threads_.emplace_back([this] { serve(); });
        }
    } catch (const std::system_error&) { // NOLINT(bugprone-empty-catch): fewer threads do the same work
    }
}

void FileQueue::serve() {
    std::unique_lock guard(lock_);
    while (true) {
        changed_.wait(guard, [this] { return ending_ || !files_.empty(); });
        if (!workOnNext(guard)) {
            return;
        }
    }
}

// False when there is nothing to do or something has failed.
bool FileQueue::workOnNext(std::unique_lock<std::mutex>& guard) {
    if (error_ || files_.empty()) {
        return false;
    }
    FileCopy file = std::move(files_.front());
    files_.pop_front();
    guard.unlock();
    std::exception_ptr error;
    try {
        work_(std::move(file));
    } catch (...) {
        error = std::current_exception();
    }
    guard.lock();
    if (error && !error_) {
        error_ = error;
    }
    return !error_;
}

void FileQueue::end() {
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
