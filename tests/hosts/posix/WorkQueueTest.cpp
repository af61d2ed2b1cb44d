#include "hosts/posix/WorkQueue.h"

#include "tests/support/ChildProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace InstallerCore {

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

constexpr WorkQueue::Threads allCores{.most = 8};

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

TEST(WorkQueueTest, doesEveryPieceOnce) {
    constexpr int count = 1000;
    std::atomic<int> done = 0;
    WorkQueue queue(allCores);
    for (int number = 0; number < count; ++number) {
        queue.push([&done] { ++done; });
    }
    queue.finish();
    EXPECT_EQ(done, count);
}

TEST(WorkQueueTest, mayHaveNothingToDo) {
    WorkQueue queue(allCores);
    queue.finish();
}

TEST(WorkQueueTest, theFirstFailureIsReportedWhicheverComesFirst) {
    if (!hasSeveralCores()) {
        GTEST_SKIP() << "one core does all in its order";
    }
    for (const bool pushesMore : {false, true}) {
        std::promise<void> laterFailed;
        WorkQueue queue(allCores);
        queue.push([&] { // begun first, and fails last
            laterFailed.get_future().wait();
            throw Failure("first");
        });
        queue.push([&] {
            // Thrown from an object whose end is seen by the other piece: the failure is noted soon after.
            laterFailed.set_value();
            throw Failure("second");
        });
        EXPECT_EQ(failureOf([&] {
                      for (std::size_t more = 0; pushesMore && more < 10 * WorkQueue::capacity; ++more) {
                          queue.push([] {});
                      }
                      queue.finish();
                  }),
                  "first")
            << pushesMore;
    }
}

TEST(WorkQueueTest, afterAFailureNothingBegins) {
    std::atomic<bool> begun = false;
    WorkQueue queue(allCores);
    EXPECT_EQ(failureOf([&] {
                  queue.push(failing("a"));
                  queue.finish();
              }),
              "a");
    EXPECT_EQ(failureOf([&] { queue.push([&begun] { begun = true; }); }), "a");
    EXPECT_EQ(failureOf([&] { queue.finish(); }), "a");
    EXPECT_FALSE(begun);
}

TEST(WorkQueueTest, whoPushesOnLearnsOfTheFailure) {
    WorkQueue queue(allCores);
    std::size_t pushed = 0;
    EXPECT_EQ(failureOf([&] {
                  queue.push(failing("a"));
                  for (; pushed < 100 * WorkQueue::capacity; ++pushed) {
                      queue.push([] {});
                  }
              }),
              "a");
    EXPECT_LE(pushed, WorkQueue::capacity);
}

TEST(WorkQueueTest, theOwnerTakesPartWhenThereIsNoMoreRoom) {
    std::set<std::thread::id> threads;
    std::mutex lock;
    WorkQueue queue(allCores);
    std::atomic<std::size_t> waiting = 0;
    std::size_t mostWaiting = 0;
    for (std::size_t number = 0; number < 4 * WorkQueue::capacity; ++number) {
        ++waiting;
        queue.push([&] {
            --waiting;
            const std::lock_guard guard(lock);
            threads.insert(std::this_thread::get_id());
        });
        mostWaiting = std::max(mostWaiting, waiting.load());
    }
    queue.finish();
    EXPECT_LE(mostWaiting, WorkQueue::capacity + std::max(std::thread::hardware_concurrency(), 1U));
    EXPECT_LE(threads.size(), std::max(std::thread::hardware_concurrency(), 1U));
}

TEST(WorkQueueTest, severalPiecesAreDoneAtATime) {
    if (!hasSeveralCores()) {
        GTEST_SKIP() << "there is one core";
    }
    std::promise<void> first;
    std::promise<void> second;
    WorkQueue queue(allCores);
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

TEST(WorkQueueTest, whatAPieceHoldsIsGivenBackOnceItIsDone) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = held;
    WorkQueue queue(allCores);
    queue.push([kept = std::move(held)] {});
    queue.finish();
    EXPECT_TRUE(watched.expired());
}

TEST(WorkQueueTest, whoGoesAwayWaitsForWhatHasBegun) {
    if (!hasSeveralCores()) {
        GTEST_SKIP() << "one core begins nothing by itself";
    }
    std::promise<void> begun;
    std::promise<void> leaving;
    std::atomic<bool> ended = false;
    {
        WorkQueue queue(allCores);
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

TEST(WorkQueueTest, whoGoesAwayDropsTheRest) {
    const auto held = std::make_shared<std::atomic<std::size_t>>(0);
    Testing::runInChild([&held] {
        forbidThreads(); // so that none has begun
        {
            WorkQueue queue(allCores);
            for (std::size_t number = 0; number < WorkQueue::capacity; ++number) {
                queue.push([held] { ++*held; });
            }
        }
        EXPECT_EQ(*held, 0U);
        EXPECT_EQ(held.use_count(), 1);
    });
}

TEST(WorkQueueTest, aFailureThatNobodyAsksForIsDropped) {
    WorkQueue queue(allCores);
    queue.push(failing("a"));
}

TEST(WorkQueueTest, anOwnerThatFailsLeavesNothingBehind) {
    std::atomic<int> done = 0;
    EXPECT_EQ(failureOf([&] {
                  WorkQueue queue(allCores);
                  queue.push([&done] { ++done; });
                  throw Failure("of the owner");
              }),
              "of the owner");
    EXPECT_LE(done, 1);
}

TEST(WorkQueueTest, withoutOtherThreadsTheOwnerDoesAllInItsOrder) {
    Testing::runInChild([] {
        forbidThreads();
        const auto owner = std::this_thread::get_id();
        std::vector<std::size_t> done;
        WorkQueue queue(allCores);
        for (std::size_t number = 0; number < 2 * WorkQueue::capacity; ++number) {
            queue.push([&done, number, owner] {
                EXPECT_EQ(std::this_thread::get_id(), owner);
                done.push_back(number);
            });
        }
        EXPECT_EQ(done.size(), WorkQueue::capacity); // the rest wait
        queue.finish();
        ASSERT_EQ(done.size(), 2 * WorkQueue::capacity);
        EXPECT_TRUE(std::is_sorted(done.begin(), done.end()));
    });
}

class WorkQueueOfSizesTest : public testing::Test {
protected:
    void push(std::uint64_t size) {
        queue_.push(
            [this] {
                const std::lock_guard guard(lock_);
                threads_.push_back(std::this_thread::get_id());
                changed_.notify_all();
            },
            size);
    }

    void awaitOthers() {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return !threads_.empty(); });
        EXPECT_THAT(threads_, testing::Each(testing::Ne(std::this_thread::get_id())));
    }

    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<std::thread::id> threads_; // who did each piece
    WorkQueue queue_{{.fewest = 2, .most = 2, .sizeForOne = 10}};
};

TEST_F(WorkQueueOfSizesTest, littleIsDoneByTheOwnerAlone) {
    for (const unsigned size : {4U, 0U, 6U}) {
        push(size);
    }
    EXPECT_TRUE(threads_.empty()); // it begins when there is nothing more to find
    queue_.finish();
    EXPECT_THAT(threads_, testing::AllOf(testing::SizeIs(3), testing::Each(std::this_thread::get_id())));
}

TEST_F(WorkQueueOfSizesTest, moreIsBegunByOthersAtOnce) {
    push(10);
    push(1);
    awaitOthers();
    queue_.finish();
    EXPECT_EQ(threads_.size(), 2U);
}

TEST_F(WorkQueueOfSizesTest, manyLittlePiecesAreBegunByOthersOnceTheQueueIsFull) {
    for (std::size_t number = 0; number < WorkQueue::capacity; ++number) {
        push(0);
    }
    EXPECT_TRUE(threads_.empty());
    push(0);
    queue_.finish();
    EXPECT_EQ(threads_.size(), WorkQueue::capacity + 1);
}

} // namespace

} // namespace InstallerCore
