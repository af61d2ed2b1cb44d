#pragma once

#include "hosts/linux/copy/CopyContent.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace InstallerCore {

// Files to be copied, at most `capacity` open at a time. Threads of their own take them as soon as more wait
// than a small tree has; until then, and whenever the queue is full, the owner's thread does it. So a small
// tree is copied by one thread, file after file in the order of the calls.
class FileQueue {
public:
    static constexpr std::size_t capacity = 64;
    static constexpr off_t smallTree = 1024L * 1024; // bytes

    explicit FileQueue(std::function<void(FileCopy)> work) : work_(std::move(work)) {}

    FileQueue(const FileQueue&) = delete;
    FileQueue& operator=(const FileQueue&) = delete;
    ~FileQueue(); // drops what nobody has begun, and waits for the rest

    // Rethrows what the work has thrown by then.
    void push(FileCopy file);

    // Returns when all is done, or throws what was thrown first.
    void finish();

private:
    void startThreads();
    void serve();
    [[nodiscard]] bool workOnNext(std::unique_lock<std::mutex>& guard);
    void end();

    std::function<void(FileCopy)> work_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<FileCopy> files_;
    off_t bytes_ = 0; // pushed so far
    bool ending_ = false;
    std::exception_ptr error_;
    std::vector<std::thread> threads_; // the owner's
};

} // namespace InstallerCore
