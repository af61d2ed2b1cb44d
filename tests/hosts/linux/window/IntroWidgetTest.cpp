#include "hosts/linux/window/IntroWidget.h"

#include "hosts/linux/window/VideoPlayer.h"
#include "tests/hosts/linux/window/Pixels.h"
#include "tests/hosts/linux/window/TestVideos.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <QTest>
#include <QThread>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

namespace InstallerCore {
namespace {

using Testing::hasColor;
using Testing::makeVideo;
using Testing::paintedDrawing;
using Testing::paintedWidget;
using Testing::readFile;
using Testing::TemporaryDirectory;
using Testing::writeFile;

// Of this process, without those that Qt paints with, which have a name of their own.
std::ptrdiff_t threadCount() {
    const std::string name = readFile("/proc/self/comm");
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::count_if(begin(threads), end(threads), [&](const auto& thread) {
        std::string other;
        std::getline(std::ifstream(thread.path() / "comm"), other); // empty when it has just ended
        return other + '\n' == name;
    });
}

class IntroWidgetTest : public testing::Test {
protected:
    IntroWidgetTest() { widget.resize(780, 480); }

    // Until the first frame is there; false when there is none in half a minute.
    [[nodiscard]] bool videoGetsReady() {
        return QTest::qWaitFor([this] { return widget.isVideoReady(); }, 30000);
    }

    [[nodiscard]] static QImage picture(int scale) {
        return paintedDrawing(WelcomeView().draw({.width = 780, .height = 480}),
                              {.width = 780, .height = 480}, scale);
    }

    TemporaryDirectory directory;
    IntroWidget widget{nullptr};
};

TEST_F(IntroWidgetTest, ShowsThePictureWithoutAVideoSharpAtEachDensity) {
    for (const int scale : {1, 2, 1}) {
        EXPECT_EQ(paintedWidget(widget, scale), picture(scale));
    }
}

TEST_F(IntroWidgetTest, ShowsTheVideoInTheMiddleWithItsAspectKept) {
    makeVideo(directory / "video.mp4", "color=blue:size=64x32:rate=10:duration=0.3");
    widget.setView({.fallback = {}, .video = directory / "video.mp4"});
    EXPECT_FALSE(widget.isVideoReady());
    EXPECT_EQ(paintedWidget(widget, 1), picture(1));
    widget.show();
    ASSERT_TRUE(videoGetsReady());
    const QImage image = paintedWidget(widget, 1);
    const QColor middle = image.pixelColor(390, 240);
    EXPECT_GT(middle.blue(), 245);
    EXPECT_LT(middle.red() + middle.green(), 16);
    EXPECT_EQ(image.pixelColor(390, 47), middle); // 390 high: from 45 to 435
    EXPECT_EQ(image.pixelColor(390, 432), middle);
    EXPECT_TRUE(hasColor(image, 390, 42, Color::gray(1))); // the picture is hidden
    EXPECT_TRUE(hasColor(image, 390, 437, Color::gray(1)));
}

TEST_F(IntroWidgetTest, StaysWithThePictureWhenTheVideoCannotBePlayed) {
    writeFile(directory / "broken.mp4", "no video");
    const auto threads = threadCount();
    for (const char* name : {"broken.mp4", "missing.mp4"}) {
        widget.setView({.fallback = {}, .video = directory / name});
        widget.show();
        ASSERT_TRUE(QTest::qWaitFor([&] { return threadCount() == threads; }, 30000)) << "it plays";
        QCoreApplication::processEvents(); // whatever it posted
        EXPECT_FALSE(widget.isVideoReady()) << name;
        EXPECT_EQ(paintedWidget(widget, 1), picture(1)) << name;
        widget.hide();
    }
}

TEST_F(IntroWidgetTest, KeepsTheLastFrameWhenHiddenAndPlaysOnWhenShownAgain) {
    makeVideo(directory / "video.mp4", "color=blue:size=64x32:rate=10:duration=0.3");
    widget.setView({.fallback = {}, .video = directory / "video.mp4"});
    widget.show();
    ASSERT_TRUE(videoGetsReady());
    widget.hide();
    EXPECT_TRUE(widget.isVideoReady());
    widget.show();
    EXPECT_TRUE(widget.isVideoReady());
}

TEST_F(IntroWidgetTest, GoesBackToThePictureWithTheVideo) {
    makeVideo(directory / "video.mp4", "color=blue:size=64x32:rate=10:duration=0.3");
    widget.setView({.fallback = {}, .video = directory / "video.mp4"});
    widget.show();
    ASSERT_TRUE(videoGetsReady());
    widget.setView({});
    EXPECT_FALSE(widget.isVideoReady());
    EXPECT_EQ(paintedWidget(widget, 1), picture(1));
}

TEST(VideoPlayerTest, ShowsFramesOnItsOwnersThreadForEver) {
    const TemporaryDirectory directory;
    makeVideo(directory / "video.mp4", "testsrc=size=64x48:rate=50:duration=0.04"); // two frames
    int shown = 0;
    const VideoPlayer player(directory / "video.mp4", {64, 48}, [&](const QImage& frame) {
        EXPECT_EQ(QThread::currentThread(), QCoreApplication::instance()->thread());
        EXPECT_EQ(frame.size(), QSize(64, 48));
        ++shown;
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown >= 6; }, 30000));
}

TEST(VideoPlayerTest, ShowsNothingAfterItsEnd) {
    const TemporaryDirectory directory;
    makeVideo(directory / "video.mp4", "testsrc=size=64x48:rate=50:duration=0.04");
    bool isShown = false;
    for (int round = 0; round < 20; ++round) {
        const VideoPlayer player(directory / "video.mp4", {64, 48},
                                 [&](const QImage& /*frame*/) { isShown = true; });
    }
    QCoreApplication::processEvents();
    EXPECT_FALSE(isShown);
}

TEST(VideoPlayerTest, EndsAtOnceThoughTheNextFrameIsFarAway) {
    const TemporaryDirectory directory;
    makeVideo(directory / "video.mp4", "testsrc=size=64x48:rate=1/50:duration=100"); // two frames, 50 s apart
    int shown = 0;
    {
        const VideoPlayer player(directory / "video.mp4", {64, 48},
                                 [&](const QImage& /*frame*/) { ++shown; });
        ASSERT_TRUE(QTest::qWaitFor([&] { return shown == 1; }, 30000));
    }
    EXPECT_EQ(shown, 1); // and not two, as it would be had it waited
}

} // namespace
} // namespace InstallerCore
