#include "KavioInstaller/WelcomeView.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace InstallerCore {
namespace {

constexpr Size size{.width = 780, .height = 480};
constexpr Color purple{.red = 0.43, .green = 0.3, .blue = 0.91};
constexpr Color titleColor = Color::gray(0.16);
constexpr Color placeholder = Color::gray(0.89);
constexpr std::size_t pageCount = 3;

Drawing page(std::size_t index) {
    return WelcomeView{.page = index}.draw(size);
}

template <typename Operation>
std::vector<Operation> all(const Drawing& drawing) {
    std::vector<Operation> result;
    for (const auto& operation : drawing) {
        if (const auto* one = std::get_if<Operation>(&operation)) {
            result.push_back(*one);
        }
    }
    return result;
}

std::vector<FillRoundedRectangle> filledWith(const Drawing& drawing, Color color) {
    std::vector<FillRoundedRectangle> result = all<FillRoundedRectangle>(drawing);
    std::erase_if(result, [&](const auto& shape) { return shape.color != color; });
    return result;
}

TEST(WelcomeViewTest, BeginsAtTheFirstPageInTheBrandColour) {
    const WelcomeView view;
    EXPECT_EQ(view.page, 0U);
    EXPECT_EQ(view.purple, purple);
}

TEST(WelcomeViewTest, FadesFromLilacAtTheTopToWhite) {
    for (std::size_t index = 0; index < pageCount; ++index) {
        EXPECT_EQ(page(index).front(),
                  DrawingOperation(FillGradient{.rectangle = {.x = 0, .y = 0, .width = 780, .height = 480},
                                                .top = {.red = 0.94, .green = 0.92, .blue = 1},
                                                .bottom = {.red = 1, .green = 1, .blue = 1}}));
    }
}

TEST(WelcomeViewTest, WritesTheNameTheTitleTheSubtitleAndTheCardTitleOfThePage) {
    struct Texts {
        const char *title, *subtitle, *cardTitle;
    };

    const std::vector<Texts> texts = {
        {"Stay in the conversation.", "Capture your meetings with Kavio.", "Meeting transcript"},
        {"From conversation\nto clarity.", "Turn meeting transcripts into AI summaries.", "AI summary"},
        {"Find the moments\nthat matter.", "Review your transcripts, all in one place.",
         "Search your meetings"},
    };
    for (std::size_t index = 0; index < pageCount; ++index) {
        const auto written = all<DrawText>(page(index));
        const Texts& expected = texts.at(index);
        EXPECT_EQ(written.at(0), (DrawText{.text = "kavio",
                                           .frame = {.x = 40, .y = 34, .width = 200, .height = 42},
                                           .font = {.size = 30, .weight = FontWeight::bold},
                                           .color = purple}));
        EXPECT_EQ(written.at(1), (DrawText{.text = expected.title,
                                           .frame = {.x = 40, .y = 118, .width = 350, .height = 110},
                                           .font = {.size = 32, .weight = FontWeight::bold},
                                           .color = titleColor}));
        EXPECT_EQ(written.at(2), (DrawText{.text = expected.subtitle,
                                           .frame = {.x = 40, .y = 244, .width = 320, .height = 65},
                                           .font = {.size = 17},
                                           .color = Color::gray(1.0 / 3)}));
        EXPECT_EQ(written.at(3).text, expected.cardTitle);
        EXPECT_EQ(written.at(3).frame, (Rect{.x = 442, .y = 101, .width = 270, .height = 25}));
        EXPECT_EQ(written.at(3).font, (Font{.size = 16, .weight = FontWeight::semibold}));
    }
}

TEST(WelcomeViewTest, HasAWhiteCardWhoseShadowFallsDown) {
    for (std::size_t index = 0; index < pageCount; ++index) {
        EXPECT_EQ(
            all<FillShadowed>(page(index)),
            (std::vector{FillShadowed{.shape = {.rectangle = {.x = 420, .y = 76, .width = 310, .height = 246},
                                                .radius = 18,
                                                .color = Color::gray(1)},
                                      .shadow = {.red = 0, .green = 0, .blue = 0, .alpha = 0.12},
                                      .blurRadius = 24,
                                      .offset = {.x = 0, .y = 5}}}));
    }
}

TEST(WelcomeViewTest, HasAWaveformOnTheFirstPageAlone) {
    const auto bars = filledWith(page(0), purple.withAlpha(0.65));
    ASSERT_EQ(bars.size(), 32U);
    for (std::size_t index = 0; index < bars.size(); ++index) {
        const FillRoundedRectangle& bar = bars.at(index);
        EXPECT_EQ(bar.rectangle.x, 444 + 8.0 * static_cast<double>(index));
        EXPECT_EQ(bar.rectangle.width, 4);
        EXPECT_EQ(bar.radius, 2);
        EXPECT_EQ(bar.rectangle.y + bar.rectangle.height / 2, 160);
        EXPECT_GE(bar.rectangle.height, 4); // still round at both ends
        EXPECT_LT(bar.rectangle.height, 38);
    }
    EXPECT_TRUE(filledWith(page(1), purple.withAlpha(0.65)).empty());
    EXPECT_TRUE(filledWith(page(2), purple.withAlpha(0.65)).empty());
}

TEST(WelcomeViewTest, ListsRowsOfALabelInASquareAndTwoLines) {
    for (std::size_t index = 0; index < pageCount; ++index) {
        const Drawing drawing = page(index);
        const auto squares = filledWith(drawing, purple.withAlpha(0.12));
        const auto lines = filledWith(drawing, placeholder);
        const auto written = all<DrawText>(drawing);
        ASSERT_GE(squares.size(), 3U);
        ASSERT_EQ(lines.size(), 2 * squares.size());
        ASSERT_EQ(written.size(), 4 + squares.size());
        const double first = squares.front().rectangle.y;
        for (std::size_t row = 0; row < squares.size(); ++row) {
            const double y = first + 39 * static_cast<double>(row);
            EXPECT_EQ(squares.at(row).rectangle, (Rect{.x = 442, .y = y, .width = 22, .height = 22}));
            EXPECT_EQ(squares.at(row).radius, 7);
            const DrawText& label = written.at(4 + row);
            EXPECT_EQ(label.frame, (Rect{.x = 448, .y = y + 2, .width = 16, .height = 18}));
            EXPECT_EQ(label.font, (Font{.size = 12}));
            EXPECT_FALSE(label.text.empty());
            for (const std::size_t line : {2 * row, 2 * row + 1}) {
                const FillRoundedRectangle& shape = lines.at(line);
                EXPECT_EQ(shape.rectangle.x, 476);
                EXPECT_EQ(shape.rectangle.y, line % 2 == 0 ? y + 3 : y + 15);
                EXPECT_EQ(shape.rectangle.height, 6);
                EXPECT_EQ(shape.radius, 3);
                EXPECT_LE(476 + shape.rectangle.width, 708); // as far from the card's edge as on the left
            }
        }
        EXPECT_LT(squares.back().rectangle.y + 22, 322); // in the card
    }
    EXPECT_EQ(filledWith(page(0), purple.withAlpha(0.12)).front().rectangle.y, 204);
}

TEST(WelcomeViewTest, TakesTheBrandColourFromItsField) {
    const Color green{.red = 0, .green = 1, .blue = 0};
    const WelcomeView view{.page = 0, .purple = green};
    const Drawing drawing = view.draw(size);
    EXPECT_EQ(filledWith(drawing, green.withAlpha(0.65)).size(), 32U);
    EXPECT_FALSE(filledWith(drawing, green.withAlpha(0.12)).empty());
    EXPECT_TRUE(filledWith(drawing, purple.withAlpha(0.65)).empty());
    EXPECT_EQ(all<DrawText>(drawing).front().color, green);
}

TEST(WelcomeViewDeathTest, HasNoFourthPage) {
    EXPECT_DEATH((void)page(3), "");
    EXPECT_DEATH((void)page(static_cast<std::size_t>(-1)), "");
}

} // namespace
} // namespace InstallerCore
