#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace InstallerCore {

// Work that throws when it fails, done by several threads while their owner goes on finding more of it. At
// most `capacity` pieces wait; the owner's thread takes part when there is no more room. Once a piece has
// failed no new one begins. The failure that is reported is that of the piece that was pushed first among
// those that failed, so that of several the same one is reported each time.
//
// One owner's thread makes all calls.
class WorkQueue {
public:
    static constexpr std::size_t capacity = 64;

    // As many threads as there are cores, but within these limits; the owner's counts as one, and fewer do
    // the same work when the system gives no more.
    struct Threads {
        unsigned fewest = 1;
        unsigned most = 1;

        // The others begin with the piece that brings the sum of all sizes above this, or when the queue is
        // full. So little work is done by the owner alone, in the order in which it was pushed.
        std::uint64_t sizeForOne = 0;
    };

    explicit WorkQueue(Threads threads) : limits_(threads) {}

    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;
    ~WorkQueue(); // drops what nobody has begun, and waits for the rest

    // What the piece holds is given back as soon as it is done. Its size is in whatever unit the owner
    // counts. Throws what finish() would when a piece has failed by then.
    void push(std::function<void()> work, std::uint64_t size = 1);

    // Returns when all is done, or throws what failed.
    void finish();

private:
    struct Piece {
        std::size_t number;
        std::function<void()> work;
    };

    void startThreads();
    void serve();
    void doNext(std::unique_lock<std::mutex>& guard);
    void end();

    const Threads limits_;
    std::uint64_t size_ = 0; // pushed so far; the owner's
    bool started_ = false;   // the owner's
    std::vector<std::thread> threads_;

    std::mutex lock_; // of what follows
    std::condition_variable changed_;
    std::deque<Piece> waiting_;
    std::size_t pushed_ = 0;
    bool ending_ = false;
    std::exception_ptr failure_;
    std::size_t failed_ = 0; // the number of the piece that failed
};

} // namespace InstallerCore
