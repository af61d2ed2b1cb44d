// The two videos as they lie in the product's resources.
#include "artwork/IntroAnimation.h"
#include "artwork/IntroPicture.h"
#include "hosts/linux/window/LaidOutText.h"
#include "hosts/linux/window/QtValues.h"
#include "hosts/linux/window/VideoDecoder.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace InstallerCore::Artwork {
namespace {

constexpr int frameCount = IntroAnimation::frameCount;
constexpr int framesPerSecond = IntroAnimation::framesPerSecond;

// Of a channel of a pixel, 0 to 255, in the mean.
double difference(const QImage& one, const QImage& other) {
    long sum = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x) {
            const QRgb a = one.pixel(x, y);
            const QRgb b = other.pixel(x, y);
            sum +=
                std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) + std::abs(qBlue(a) - qBlue(b));
        }
    }
    return static_cast<double>(sum) / (3.0 * one.width() * one.height());
}

class IntroVideosTest : public testing::TestWithParam<const char*> {
protected:
    [[nodiscard]] static std::filesystem::path file() {
        return std::filesystem::path(KAVIO_RESOURCES) / (std::string("intro-") + GetParam() + ".mp4");
    }

    [[nodiscard]] static std::unique_ptr<VideoDecoder> open() {
        return VideoDecoder::open(file(), QSize(780, 480));
    }
};

TEST_P(IntroVideosTest, IsSilentH264OfTheIntrosSize) {
    EXPECT_EQ(Testing::outputOf(
                  KAVIO_FFPROBE
                  " -v error -show_entries stream=codec_type,codec_name,width,height,pix_fmt -of csv=p=0 " +
                  file().string()),
              "h264,video,780,480,yuv420p\n"); // the only stream
}

TEST_P(IntroVideosTest, IsSmall) {
    EXPECT_LT(std::filesystem::file_size(file()), 400'000U);
}

TEST_P(IntroVideosTest, HasEachFrameAtItsTimeAndEndsAsItBegins) {
    const auto video = open();
    ASSERT_NE(video, nullptr);
    QImage first;
    QImage last;
    int count = 0;
    while (const auto frame = video->next()) {
        ASSERT_EQ(frame->image.size(), QSize(780, 480));
        EXPECT_NEAR(static_cast<double>(frame->time.count()), 1e9 * count / framesPerSecond, 100) << count;
        EXPECT_NEAR(static_cast<double>(frame->duration.count()), 1e9 / framesPerSecond, 100) << count;
        if (count == 0) {
            first = frame->image;
        }
        last = frame->image;
        ++count;
    }
    ASSERT_EQ(count, frameCount);
    EXPECT_LT(difference(last, first), 1);
}

INSTANTIATE_TEST_SUITE_P(Languages, IntroVideosTest, testing::Values("en", "ja"),
                         [](const auto& language) { return std::string(language.param); });

// Or somebody has changed the picture and not made the videos again. The Japanese one is drawn in a font that
// not every machine has.
TEST(EnglishIntroVideoTest, ShowsWhatIsDrawnToday) {
    const auto words = IntroWords::in("en");
    const auto video =
        VideoDecoder::open(std::filesystem::path(KAVIO_RESOURCES) / "intro-en.mp4", QSize(780, 480));
    ASSERT_TRUE(words && video);
    const double otherPage = difference(introPicture(0, *words), introPicture(frameCount / 3, *words));
    for (int index = 0; index < frameCount; ++index) {
        const auto frame = video->next();
        ASSERT_TRUE(frame) << index;
        if (index % 12 == 0) {
            EXPECT_LT(difference(frame->image, introPicture(index, *words)), otherPage / 4) << index;
        }
    }
}

TEST(JapaneseIntroTest, FitsIntoTheFramesOfThePicture) {
    const auto words = IntroWords::in("ja");
    ASSERT_TRUE(words);
    for (int index = 0; index < frameCount; index += framesPerSecond / 2) {
        for (const auto& operation : IntroAnimation::at(1.0 * index / framesPerSecond, *words)) {
            if (const auto* text = std::get_if<DrawText>(&operation)) {
                const LaidOutText laidOut(toQt(text->text), {.font = toQt(text->font), .wraps = true},
                                          text->frame.width);
                EXPECT_LE(laidOut.height(), text->frame.height) << text->text;
                EXPECT_LE(laidOut.bounds().width(), text->frame.width) << text->text;
                EXPECT_FALSE(laidOut.hasMissingLetters()) << text->text;
            }
        }
    }
}

} // namespace
} // namespace InstallerCore::Artwork
