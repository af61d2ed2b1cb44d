#include "hosts/linux/window/VideoDecoder.h"

#include "tests/hosts/linux/window/TestVideos.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <vector>

namespace InstallerCore {
namespace {

using namespace std::chrono_literals;
using Testing::makeVideo;
using Testing::readFile;
using Testing::TemporaryDirectory;
using Testing::writeFile;

constexpr QSize area(64, 48);

std::vector<VideoFrame> allFrames(VideoDecoder& video) {
    std::vector<VideoFrame> frames;
    while (auto frame = video.next()) {
        frames.push_back(std::move(*frame));
    }
    return frames;
}

class VideoDecoderTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path make(const std::string& source,
                                             const std::string& arguments = "") const {
        makeVideo(directory / "video.mp4", source, arguments);
        return directory / "video.mp4";
    }

    TemporaryDirectory directory;
};

TEST_F(VideoDecoderTest, GivesEachFrameWithItsTime) {
    const auto video = VideoDecoder::open(make("testsrc=size=64x48:rate=10:duration=0.5"), area);
    ASSERT_NE(video, nullptr);
    const auto frames = allFrames(*video);
    ASSERT_EQ(frames.size(), 5U);
    for (std::size_t index = 0; index < frames.size(); ++index) {
        EXPECT_EQ(frames.at(index).time, index * 100ms);
        EXPECT_EQ(frames.at(index).duration, 100ms);
        EXPECT_EQ(frames.at(index).image.size(), area);
    }
}

TEST_F(VideoDecoderTest, GivesColoursAsTheyWere) {
    const auto file = make("color=red:size=64x48:rate=10:duration=0.1");
    const auto video = VideoDecoder::open(file, area);
    ASSERT_NE(video, nullptr);
    const QColor color = video->next().value().image.pixelColor(32, 24);
    EXPECT_GT(color.red(), 250);
    EXPECT_LT(color.green() + color.blue(), 10);
}

TEST_F(VideoDecoderTest, FitsTheAreaAndKeepsTheAspect) {
    const auto file = make("color=red:size=64x32:rate=10:duration=0.1");
    EXPECT_EQ(VideoDecoder::open(file, {780, 480})->next().value().image.size(), QSize(780, 390));
    EXPECT_EQ(VideoDecoder::open(file, {1560, 100})->next().value().image.size(), QSize(200, 100));
    EXPECT_EQ(VideoDecoder::open(file, {0, 0})->next().value().image.size(), QSize(1, 1));
}

// Without it, scaling ran over the end of the picture's memory.
TEST_F(VideoDecoderTest, HasRoomForWholeVectorsAtTheEndOfEachLine) {
    const auto file = make("testsrc=size=780x480:rate=10:duration=0.1");
    for (const QSize size :
         {QSize(780, 480), QSize(779, 480), QSize(333, 77), QSize(1560, 960), QSize(1, 1)}) {
        const QImage image = VideoDecoder::open(file, size)->next().value().image;
        EXPECT_EQ(image.bytesPerLine() % 64, 0);
        EXPECT_GE(image.bytesPerLine(), 4 * image.width());
        const QImage copy = image.copy(); // reads all of it
        EXPECT_EQ(copy, image);
    }
}

TEST_F(VideoDecoderTest, TakesPixelsThatAreNoSquaresForWhatTheyAre) {
    const auto file = make("color=red:size=64x48:rate=10:duration=0.1,setsar=2");
    EXPECT_EQ(VideoDecoder::open(file, {128, 128})->next().value().image.size(), QSize(128, 48));
}

TEST_F(VideoDecoderTest, BeginsAgainAsOftenAsAsked) {
    const auto video = VideoDecoder::open(make("testsrc=size=64x48:rate=10:duration=0.5"), area);
    ASSERT_NE(video, nullptr);
    const auto first = allFrames(*video);
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(video->rewind());
        const auto again = allFrames(*video);
        ASSERT_EQ(again.size(), first.size());
        for (std::size_t index = 0; index < first.size(); ++index) {
            EXPECT_EQ(again.at(index).time, first.at(index).time);
            EXPECT_EQ(again.at(index).image, first.at(index).image);
        }
    }
}

TEST_F(VideoDecoderTest, TakesNoNoticeOfSound) {
    const auto file = make("testsrc=size=64x48:rate=10:duration=0.5", "-f lavfi -i sine=duration=3 -c:a aac");
    const auto video = VideoDecoder::open(file, area);
    ASSERT_NE(video, nullptr);
    EXPECT_EQ(allFrames(*video).size(), 5U);
}

TEST_F(VideoDecoderTest, OpensNothingThatIsNoVideo) {
    EXPECT_EQ(VideoDecoder::open(directory / "missing.mp4", area), nullptr);
    EXPECT_EQ(VideoDecoder::open(directory.path(), area), nullptr);
    writeFile(directory / "empty.mp4", "");
    EXPECT_EQ(VideoDecoder::open(directory / "empty.mp4", area), nullptr);
    writeFile(directory / "text.mp4", std::string(5000, 'x'));
    EXPECT_EQ(VideoDecoder::open(directory / "text.mp4", area), nullptr);
    makeVideo(directory / "sound.mp4", "sine=duration=1", "-vn -c:a aac");
    EXPECT_EQ(VideoDecoder::open(directory / "sound.mp4", area), nullptr);
}

TEST_F(VideoDecoderTest, OpensNoOtherFormatUnderTheNameOfAVideo) {
    makeVideo(directory / "other.mkv", "color=red:size=64x48:rate=10:duration=0.1");
    EXPECT_EQ(VideoDecoder::open(directory / "other.mkv", area), nullptr);
    writeFile(directory / "list.mp4", "#EXTM3U\n#EXTINF:1,\nfile:///etc/passwd\n");
    EXPECT_EQ(VideoDecoder::open(directory / "list.mp4", area), nullptr);
}

TEST_F(VideoDecoderTest, EndsWhereTheFileIsBroken) {
    const auto file = make("testsrc=size=640x480:rate=25:duration=2", "-movflags +faststart");
    const std::string whole = readFile(file);
    for (const std::size_t part : {4U, 8U, 16U}) {
        const auto cut = directory / ("cut" + std::to_string(part) + ".mp4");
        writeFile(cut, whole.substr(0, whole.size() - whole.size() / part));
        const auto video = VideoDecoder::open(cut, area);
        ASSERT_NE(video, nullptr);
        const std::size_t count = allFrames(*video).size();
        EXPECT_GT(count, 0U);
        EXPECT_LT(count, 50U);
        EXPECT_TRUE(video->rewind());
        EXPECT_EQ(allFrames(*video).size(), count);
    }
}

TEST_F(VideoDecoderTest, SurvivesDamageAnywhere) {
    const auto file = make("testsrc=size=64x48:rate=10:duration=0.5", "-movflags +faststart");
    const std::string whole = readFile(file);
    for (std::size_t at = 0; at < whole.size(); at += 37) {
        std::string damaged = whole;
        damaged.at(at) = static_cast<char>(~damaged.at(at));
        writeFile(directory / "damaged.mp4", damaged);
        const auto video = VideoDecoder::open(directory / "damaged.mp4", area);
        std::chrono::nanoseconds before{0};
        for (int count = 0; video != nullptr && count < 100; ++count) {
            const auto frame = video->next();
            if (!frame) {
                break;
            }
            EXPECT_GE(frame->time, before) << at;
            EXPECT_GT(frame->duration, 0ns) << at;
            before = frame->time;
        }
    }
}

} // namespace
} // namespace InstallerCore
