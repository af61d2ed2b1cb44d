#include "InstallerCore/support/Semaphore.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace InstallerCore {

namespace {

// Longer than any machine needs; only a defect waits for it.
constexpr std::chrono::seconds ample(60);
constexpr std::chrono::milliseconds none(0);

TEST(SemaphoreTest, StartsWithoutASignal) {
    Semaphore semaphore;
    EXPECT_FALSE(semaphore.waitFor(none));
}

TEST(SemaphoreTest, CountsItsSignals) {
    Semaphore semaphore;
    semaphore.signal();
    semaphore.signal();
    EXPECT_TRUE(semaphore.waitFor(none));
    EXPECT_TRUE(semaphore.waitFor(none));
    EXPECT_FALSE(semaphore.waitFor(none));
}

TEST(SemaphoreTest, SignalOfAnotherThreadEndsTheWait) {
    Semaphore asked;
    Semaphore answered;
    std::thread other([&] {
        if (asked.waitFor(ample)) {
            answered.signal();
        }
    });
    asked.signal();
    EXPECT_TRUE(answered.waitFor(ample));
    other.join();
}

TEST(SemaphoreTest, NoSignalOfManyThreadsIsLost) {
    constexpr int threadCount = 4;
    constexpr int signalsEach = 1000;
    Semaphore semaphore;
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&semaphore] {
            for (int signal = 0; signal < signalsEach; ++signal) {
                semaphore.signal();
            }
        });
    }
    for (int signal = 0; signal < threadCount * signalsEach; ++signal) {
        ASSERT_TRUE(semaphore.waitFor(ample));
    }
    EXPECT_FALSE(semaphore.waitFor(none));
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(SemaphoreTest, MayGoAsSoonAsTheWaiterHasReturned) {
    for (int i = 0; i < 200; ++i) {
        auto semaphore = std::make_unique<Semaphore>();
        std::thread other([signalled = semaphore.get()] { signalled->signal(); });
        EXPECT_TRUE(semaphore->waitFor(ample));
        semaphore.reset();
        other.join();
    }
}

} // namespace

} // namespace InstallerCore
