#include "tests/KavioInstaller/SteppedThread.h"

#include <cstdlib>
#include <utility>

namespace InstallerCore::Testing {

namespace {

thread_local SteppedThread* current = nullptr;

} // namespace

SteppedThread::SteppedThread(std::function<void()> work)
    : thread_([this, work = std::move(work)] {
          current = this;
          awaitTurnOf(Turn::work);
          work();
          isFinished_ = true;
          giveTurnTo(Turn::owner);
      }) {}

SteppedThread::~SteppedThread() {
    if (!isFinished_) {
        std::abort(); // it would wait for ever
    }
    thread_.join();
}

void SteppedThread::resume() {
    giveTurnTo(Turn::work);
    awaitTurnOf(Turn::owner);
}

bool SteppedThread::isCurrent() {
    return current != nullptr;
}

void SteppedThread::yield(const std::string& next) {
    if (current != nullptr) {
        current->next_ = next;
        current->giveTurnTo(Turn::owner);
        current->awaitTurnOf(Turn::work);
    }
}

void SteppedThread::giveTurnTo(Turn turn) {
    const std::lock_guard guard(lock_);
    turn_ = turn;
    turned_.notify_one();
}

void SteppedThread::awaitTurnOf(Turn turn) {
    std::unique_lock guard(lock_);
    turned_.wait(guard, [&] { return turn_ == turn; });
}

} // namespace InstallerCore::Testing
