#include "hosts/linux/codesign/CheckQueue.h"

#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace InstallerCore::CodeSign {

namespace {

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What finishing throws; empty when nothing.
template <typename Call>
std::string failureOf(Call&& call) {
    try {
        call();
        return {};
    } catch (const Failure& failure) {
        return failure.what();
    }
}

std::function<void()> failing(const std::string& text) {
    return [text] { throw Failure(text); };
}

bool hasSeveralCores() {
    return std::thread::hardware_concurrency() > 1;
}

// In a child: it gets no more threads, as if there were no core for them.
void forbidThreads() {
    Testing::dropPrivileges();
    constexpr rlimit none{.rlim_cur = 0, .rlim_max = 0};
    ASSERT_EQ(::setrlimit(RLIMIT_NPROC, &none), 0);
    ASSERT_THROW(std::thread([] {}), std::system_error);
}

TEST(CheckQueueTest, makesEveryCheckOnce) {
    constexpr int count = 1000;
    std::atomic<int> made = 0;
    CheckQueue queue;
    for (int number = 0; number < count; ++number) {
        queue.push([&made] { ++made; });
    }
    queue.finish();
    EXPECT_EQ(made, count);
}

TEST(CheckQueueTest, mayHaveNothingToDo) {
    CheckQueue queue;
    queue.finish();
}

TEST(CheckQueueTest, theFirstFailureIsReportedWhicheverComesFirst) {
    if (!hasSeveralCores()) {
        GTEST_SKIP() << "one core makes the checks in their order";
    }
    for (const bool pushesMore : {false, true}) {
        std::promise<void> laterFailed;
        CheckQueue queue;
        queue.push([&] { // begun first, and fails last
            laterFailed.get_future().wait();
            throw Failure("first");
        });
        queue.push([&] {
            // Thrown from an object whose end is seen by the other check: the failure is noted soon after.
            laterFailed.set_value();
            throw Failure("second");
        });
        EXPECT_EQ(failureOf([&] {
                      for (std::size_t more = 0; pushesMore && more < 10 * CheckQueue::capacity; ++more) {
                          queue.push([] {});
                      }
                      queue.finish();
                  }),
                  "first")
            << pushesMore;
    }
}

TEST(CheckQueueTest, afterAFailureNoCheckBegins) {
    std::atomic<bool> begun = false;
    CheckQueue queue;
    EXPECT_EQ(failureOf([&] {
                  queue.push(failing("a"));
                  queue.finish();
              }),
              "a");
    EXPECT_EQ(failureOf([&] { queue.push([&begun] { begun = true; }); }), "a");
    EXPECT_EQ(failureOf([&] { queue.finish(); }), "a");
    EXPECT_FALSE(begun);
}

TEST(CheckQueueTest, whoPushesOnLearnsOfTheFailure) {
    CheckQueue queue;
    std::size_t pushed = 0;
    EXPECT_EQ(failureOf([&] {
                  queue.push(failing("a"));
                  for (; pushed < 100 * CheckQueue::capacity; ++pushed) {
                      queue.push([] {});
                  }
              }),
              "a");
    EXPECT_LE(pushed, CheckQueue::capacity);
}

TEST(CheckQueueTest, theOwnerTakesPartWhenThereIsNoMoreRoom) {
    std::set<std::thread::id> threads;
    std::mutex lock;
    CheckQueue queue;
    std::atomic<std::size_t> waiting = 0;
    std::size_t mostWaiting = 0;
    for (std::size_t number = 0; number < 4 * CheckQueue::capacity; ++number) {
        ++waiting;
        queue.push([&] {
            --waiting;
            const std::lock_guard guard(lock);
            threads.insert(std::this_thread::get_id());
        });
        mostWaiting = std::max(mostWaiting, waiting.load());
    }
    queue.finish();
    EXPECT_LE(mostWaiting, CheckQueue::capacity + std::max(std::thread::hardware_concurrency(), 1U));
    EXPECT_LE(threads.size(), std::max(std::thread::hardware_concurrency(), 1U));
}

TEST(CheckQueueTest, severalChecksAreMadeAtATime) {
    if (!hasSeveralCores()) {
        GTEST_SKIP() << "there is one core";
    }
    std::promise<void> first;
    std::promise<void> second;
    CheckQueue queue;
    queue.push([&] {
        first.set_value();
        second.get_future().wait();
    });
    queue.push([&] {
        second.set_value();
        first.get_future().wait();
    });
    queue.finish(); // would never return if one waited for the other to end
}

TEST(CheckQueueTest, whatACheckHoldsIsGivenBackOnceItIsMade) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = held;
    CheckQueue queue;
    queue.push([kept = std::move(held)] {});
    queue.finish();
    EXPECT_TRUE(watched.expired());
}

TEST(CheckQueueTest, whoGoesAwayWaitsForWhatHasBegun) {
    if (!hasSeveralCores()) {
        GTEST_SKIP() << "one core begins nothing by itself";
    }
    std::promise<void> begun;
    std::promise<void> leaving;
    std::atomic<bool> ended = false;
    {
        CheckQueue queue;
        queue.push([&] {
            begun.set_value();
            leaving.get_future().wait();
            ended = true;
        });
        begun.get_future().wait();
        leaving.set_value();
    }
    EXPECT_TRUE(ended);
}

TEST(CheckQueueTest, whoGoesAwayDropsTheRest) {
    const auto held = std::make_shared<std::atomic<std::size_t>>(0);
    Testing::runInChild([&held] {
        forbidThreads(); // so that none has begun
        {
            CheckQueue queue;
            for (std::size_t number = 0; number < CheckQueue::capacity; ++number) {
                queue.push([held] { ++*held; });
            }
        }
        EXPECT_EQ(*held, 0U);
        EXPECT_EQ(held.use_count(), 1);
    });
}

TEST(CheckQueueTest, aFailureThatNobodyAsksForIsDropped) {
    CheckQueue queue;
    queue.push(failing("a"));
}

TEST(CheckQueueTest, anOwnerThatFailsLeavesNothingBehind) {
    std::atomic<int> made = 0;
    EXPECT_EQ(failureOf([&] {
                  CheckQueue queue;
                  queue.push([&made] { ++made; });
                  throw Failure("of the owner");
              }),
              "of the owner");
    EXPECT_LE(made, 1);
}

TEST(CheckQueueTest, withoutOtherThreadsTheOwnerMakesTheChecksInTheirOrder) {
    Testing::runInChild([] {
        forbidThreads();
        const auto owner = std::this_thread::get_id();
        std::vector<std::size_t> made;
        CheckQueue queue;
        for (std::size_t number = 0; number < 2 * CheckQueue::capacity; ++number) {
            queue.push([&made, number, owner] {
                EXPECT_EQ(std::this_thread::get_id(), owner);
                made.push_back(number);
            });
        }
        EXPECT_EQ(made.size(), CheckQueue::capacity); // the rest wait
        queue.finish();
        ASSERT_EQ(made.size(), 2 * CheckQueue::capacity);
        EXPECT_TRUE(std::is_sorted(made.begin(), made.end()));
    });
}

} // namespace

} // namespace InstallerCore::CodeSign
