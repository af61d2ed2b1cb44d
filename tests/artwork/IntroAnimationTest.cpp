#include "artwork/IntroAnimation.h"

#include "KavioInstaller/WelcomeView.h"
#include "artwork/WelcomeElements.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace InstallerCore::Artwork {
namespace {

constexpr int frameCount = IntroAnimation::frameCount;
constexpr int framesPerSecond = IntroAnimation::framesPerSecond;

constexpr double loop = 1.0 * frameCount / framesPerSecond;

IntroWords english() {
    return *IntroWords::in("en");
}

Drawing frame(int index) {
    return IntroAnimation::at(1.0 * index / framesPerSecond, english());
}

// How visible each text is.
std::vector<std::pair<std::string, double>> texts(const Drawing& drawing) {
    std::vector<std::pair<std::string, double>> result;
    for (const DrawingOperation& operation : drawing) {
        if (const auto* text = std::get_if<DrawText>(&operation)) {
            result.emplace_back(text->text, text->color.alpha);
        }
    }
    return result;
}

bool says(const Drawing& drawing, const std::string& words) {
    const auto all = texts(drawing);
    return std::any_of(all.begin(), all.end(), [&](const auto& text) { return text.first == words; });
}

const Rect& frameOf(const DrawingOperation& operation) {
    struct Frame {
        const Rect& operator()(const FillRoundedRectangle& o) const { return o.rectangle; }

        const Rect& operator()(const FillGradient& o) const { return o.rectangle; }

        const Rect& operator()(const FillShadowed& o) const { return o.shape.rectangle; }

        const Rect& operator()(const DrawText& o) const { return o.frame; }

        const Rect& operator()(const BeginClip& o) const { return o.rectangle; }

        const Rect& operator()(const EndClip& /*o*/) const {
            static const Rect none;
            return none;
        }
    };

    return std::visit(Frame{}, operation);
}

TEST(IntroAnimationTest, BeginsAsThePictureThatTheWindowShowsBefore) {
    EXPECT_EQ(frame(0), WelcomeView().draw(IntroAnimation::size));
}

TEST(IntroAnimationTest, GoesOnAfterItsLastFrameWhereItBegan) {
    EXPECT_EQ(frame(frameCount), frame(0));
    EXPECT_EQ(IntroAnimation::at(-loop, english()), frame(0));
    EXPECT_EQ(frame(5 * frameCount + 36), frame(36));
}

TEST(IntroAnimationTest, ShowsEachPageForFourSeconds) {
    for (std::size_t page = 0; page < 3; ++page) {
        const auto expected = WelcomeElements::of({.page = page}, IntroAnimation::size);
        const double since = 4.0 * static_cast<double>(page);
        for (const double time : {since + 0.6, since + 2}) {
            const Drawing drawing = IntroAnimation::at(time, english());
            const auto shown = texts(drawing);
            ASSERT_EQ(shown.size(), 4 + expected.rows.size()) << time;
            EXPECT_TRUE(says(drawing, expected.title.text)) << time;
            EXPECT_TRUE(says(drawing, expected.cardTitle.text)) << time;
            EXPECT_TRUE(std::all_of(shown.begin(), shown.end(), [](const auto& t) { return t.second == 1; }));
        }
    }
}

TEST(IntroAnimationTest, NeverShowsMoreThanTwoPagesOrNone) {
    for (int index = 0; index < frameCount; ++index) {
        const auto shown = texts(frame(index));
        const auto titles = std::count_if(shown.begin(), shown.end(), [](const auto& text) {
            return text.first == "Stay in the conversation." ||
                   text.first == "From conversation\nto clarity." ||
                   text.first == "Find the moments\nthat matter.";
        });
        EXPECT_GE(titles, 1) << index;
        EXPECT_LE(titles, 2) << index;
    }
}

// Sideways alone, see the header; and never as far as the edge of the picture.
TEST(IntroAnimationTest, MovesTextsSidewaysAndKeepsAllInThePicture) {
    for (int index = 0; index < frameCount; ++index) {
        for (const DrawingOperation& operation : frame(index)) {
            const Rect& r = frameOf(operation);
            EXPECT_TRUE(r.x >= 0 && r.y >= 0 && r.width >= 0 && r.height >= 0) << index;
            EXPECT_TRUE(r.x + r.width <= 780 && r.y + r.height <= 480) << index;
            if (std::holds_alternative<DrawText>(operation)) {
                EXPECT_EQ(r.y, std::round(r.y)) << index;
            }
        }
    }
}

TEST(IntroAnimationTest, MovesAllTheTimeWhileThereIsAVoice) {
    for (int index = 3; index < 60; ++index) {
        EXPECT_NE(frame(index), frame(index - 1)) << index;
    }
}

TEST(IntroAnimationTest, SaysInJapaneseAllThatItSaysInEnglish) {
    const auto japanese = IntroWords::in("ja");
    ASSERT_TRUE(japanese);
    for (int index = 0; index < frameCount; index += framesPerSecond / 2) {
        const double time = 1.0 * index / framesPerSecond;
        const auto there = texts(IntroAnimation::at(time, english()));
        const auto here = texts(IntroAnimation::at(time, *japanese));
        ASSERT_EQ(here.size(), there.size());
        for (std::size_t text = 0; text < here.size(); ++text) {
            const std::string& original = there.at(text).first;
            EXPECT_EQ(here.at(text).first == original, original == "kavio" || original == "✓") << original;
        }
    }
}

TEST(IntroWordsTest, AreThereInTheTwoLanguagesOfTheVideos) {
    EXPECT_TRUE(IntroWords::in("en"));
    EXPECT_TRUE(IntroWords::in("ja"));
    EXPECT_FALSE(IntroWords::in("JA"));
    EXPECT_FALSE(IntroWords::in("de"));
    EXPECT_FALSE(IntroWords::in(""));
}

} // namespace
} // namespace InstallerCore::Artwork
