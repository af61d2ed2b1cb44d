#include "hosts/linux/window/VideoLoop.h"

#include "hosts/linux/window/PlaybackClock.h"
#include "hosts/linux/window/VideoDecoder.h"
#include "tests/hosts/linux/window/TestVideos.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <future>
#include <vector>

namespace InstallerCore {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using Testing::makeVideo;
using Testing::TemporaryDirectory;

// Time passes only by waiting, and by what a test adds. Ends playing at the wait of that number.
class FakeClock : public PlaybackClock {
public:
    explicit FakeClock(std::size_t waits) : waits_(waits) {}

    nanoseconds now() override { return time; }

    bool waitUntil(nanoseconds until) override {
        if (waited.size() == waits_) {
            return false;
        }
        waited.push_back(until - begin);
        time = std::max(time, until);
        return true;
    }

    static constexpr nanoseconds begin = 1000s;
    nanoseconds time = begin;
    std::vector<nanoseconds> waited; // since the beginning

private:
    std::size_t waits_;
};

class VideoLoopTest : public testing::Test {
protected:
    [[nodiscard]] std::unique_ptr<VideoDecoder> video(const std::string& source) const {
        makeVideo(directory / "video.mp4", source);
        return VideoDecoder::open(directory / "video.mp4", {64, 48});
    }

    TemporaryDirectory directory;
    int presented = 0;
    std::function<void(const QImage&)> count = [this](const QImage& /*frame*/) { ++presented; };
};

TEST_F(VideoLoopTest, PresentsEachFrameAtItsTimeRoundAfterRound) {
    FakeClock clock(9);
    loopVideo(*video("testsrc=size=64x48:rate=10:duration=0.3"), clock, count);
    EXPECT_EQ(clock.waited, (std::vector<nanoseconds>{0ms, 100ms, 200ms, 300ms, // the next round begins
                                                      300ms, 400ms, 500ms, 600ms, 600ms}));
    EXPECT_EQ(presented, 7);
}

TEST_F(VideoLoopTest, PresentsNothingOnceItIsToEnd) {
    FakeClock clock(0);
    loopVideo(*video("testsrc=size=64x48:rate=10:duration=0.3"), clock, count);
    EXPECT_EQ(presented, 0);
}

TEST_F(VideoLoopTest, HoldsASingleFrameForItsDuration) {
    FakeClock clock(4);
    loopVideo(*video("testsrc=size=64x48:rate=5:duration=0.2"), clock, count);
    EXPECT_EQ(clock.waited, (std::vector<nanoseconds>{0ms, 200ms, 200ms, 400ms}));
}

TEST_F(VideoLoopTest, CatchesUpAfterASmallDelay) {
    FakeClock clock(5);
    const auto delayed = [&](const QImage& /*frame*/) {
        if (++presented == 2) {
            clock.time += 150ms;
        }
    };
    loopVideo(*video("testsrc=size=64x48:rate=10:duration=0.5"), clock, delayed);
    EXPECT_EQ(clock.waited, (std::vector<nanoseconds>{0ms, 100ms, 200ms, 300ms, 400ms}));
}

TEST_F(VideoLoopTest, GoesOnAtItsPaceAfterTheMachineSlept) {
    FakeClock clock(5);
    const auto asleep = [&](const QImage& /*frame*/) {
        if (++presented == 2) {
            clock.time += 1h;
        }
    };
    loopVideo(*video("testsrc=size=64x48:rate=10:duration=0.5"), clock, asleep);
    const nanoseconds late = 1h + 100ms - 250ms; // the third frame is due a little in the past
    EXPECT_EQ(clock.waited, (std::vector<nanoseconds>{0ms, 100ms, late, late + 100ms, late + 200ms}));
}

TEST_F(VideoLoopTest, EndsByItselfWithoutASingleFrame) {
    const auto one = video("testsrc=size=64x48:rate=10:duration=0.1");
    ASSERT_TRUE(one->next());
    ASSERT_FALSE(one->next()); // there is nothing left in it
    FakeClock clock(100);
    loopVideo(*one, clock, count);
    EXPECT_EQ(presented, 0);
    EXPECT_TRUE(clock.waited.empty());
}

TEST(SteadyPlaybackClockTest, ReturnsTrueAtTheTimeAndNotBefore) {
    SteadyPlaybackClock clock;
    const nanoseconds until = clock.now() + 5ms;
    EXPECT_TRUE(clock.waitUntil(until));
    EXPECT_GE(clock.now(), until);
    EXPECT_TRUE(clock.waitUntil(until)); // which is past
}

TEST(SteadyPlaybackClockTest, StopsTheWaitThatIsOnAndEveryOneToCome) {
    SteadyPlaybackClock clock;
    auto waiting = std::async(std::launch::async, [&] { return clock.waitUntil(clock.now() + 1h); });
    clock.stop();
    EXPECT_FALSE(waiting.get());
    EXPECT_FALSE(clock.waitUntil(clock.now() + 1h));
    EXPECT_FALSE(clock.waitUntil(clock.now()));
}

} // namespace
} // namespace InstallerCore
