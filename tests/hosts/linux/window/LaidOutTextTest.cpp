#include "hosts/linux/window/LaidOutText.h"

#include "hosts/linux/window/QtValues.h"

#include <gtest/gtest.h>

#include <QFontDatabase>
#include <QFontInfo>
#include <vector>

namespace InstallerCore {
namespace {

constexpr qreal wide = 1000;

LaidOutText::Style style(double size) {
    return {.font = toQt(Font{.size = size})};
}

LaidOutText::Style monospaced() {
    return {.font = toQt(Font{.size = 17}), .monospacedDigits = true};
}

TEST(LaidOutTextTest, HasItsFontOnThisMachine) {
    EXPECT_EQ(QFontInfo(toQt(Font{.size = 17})).family(), QStringLiteral("Inter"));
    EXPECT_EQ(QFontInfo(toQt(Font{.size = 32, .weight = FontWeight::bold})).family(),
              QStringLiteral("Inter Display"));
    for (const char* name :
         {"Noto Sans Arabic UI", "Noto Sans Devanagari UI", "Noto Sans Thai UI", "WenQuanYi Micro Hei"}) {
        EXPECT_TRUE(QFontDatabase::families().contains(QString::fromLatin1(name))) << name;
    }
}

TEST(LaidOutTextTest, HasTheSizeAndWeightOfItsFontInPixels) {
    const QFont font = toQt(Font{.size = 17, .weight = FontWeight::semibold});
    EXPECT_EQ(font.pixelSize(), 17);
    EXPECT_EQ(font.weight(), QFont::DemiBold);
    EXPECT_EQ(toQt(Font{.size = 30, .weight = FontWeight::bold}).weight(), QFont::Bold);
    EXPECT_EQ(toQt(Font{.size = 15}).weight(), QFont::Normal);
}

// How far each full stop is from the end of the text.
std::vector<qreal> fullStops(const char* text, const LaidOutText::Style& style) {
    const QString digits = QString::fromLatin1(text);
    const LaidOutText laidOut(digits, style, wide);
    std::vector<qreal> result;
    for (int at = 0; at < digits.size(); ++at) {
        if (digits.at(at) == QLatin1Char('.')) {
            result.push_back(laidOut.x(static_cast<int>(digits.size())) - laidOut.x(at));
        }
    }
    return result;
}

TEST(LaidOutTextTest, GivesAllDigitsOneWidthWhereAsked) {
    const auto narrow = fullStops("1.1.1.1%", monospaced());
    ASSERT_EQ(narrow.size(), 3U);
    for (const char* text : {"8.8.8.8%", "3.7.4.0%", "2.5.6.9%"}) {
        const auto stops = fullStops(text, monospaced());
        for (std::size_t index = 0; index < stops.size(); ++index) {
            EXPECT_NEAR(stops.at(index), narrow.at(index), 0.1) << text;
        }
    }
    // which the font does not do by itself
    EXPECT_GT(fullStops("8.8.8.8%", style(17)).front(), fullStops("1.1.1.1%", style(17)).front() + 3);
}

TEST(LaidOutTextTest, WrapsOnlyWhereAsked) {
    const QString text = QStringLiteral("some words that do not fit in one line");
    LaidOutText::Style wrapping = style(17);
    wrapping.wraps = true;
    const LaidOutText wrapped(text, wrapping, 100);
    const LaidOutText single(text, style(17), 100);
    EXPECT_GT(wrapped.lineCount(), 2);
    EXPECT_LE(wrapped.bounds().width(), 100);
    EXPECT_EQ(single.lineCount(), 1);
    EXPECT_GT(single.bounds().width(), 100);
    EXPECT_NEAR(wrapped.height(), wrapped.lineCount() * single.height(), 0.1);
}

TEST(LaidOutTextTest, BreaksAWordThatIsWiderThanTheLine) {
    LaidOutText::Style wrapping = style(17);
    wrapping.wraps = true;
    EXPECT_LE(LaidOutText(QString(40, QLatin1Char('m')), wrapping, 100).bounds().width(), 100);
}

TEST(LaidOutTextTest, KeepsLeftAndRightInEitherDirection) {
    for (const Qt::LayoutDirection direction : {Qt::LeftToRight, Qt::RightToLeft}) {
        LaidOutText::Style one = style(17);
        one.direction = direction;
        one.alignment = Qt::AlignLeft;
        EXPECT_NEAR(LaidOutText(QStringLiteral("text"), one, 200).bounds().left(), 0, 0.1);
        one.alignment = Qt::AlignRight;
        EXPECT_NEAR(LaidOutText(QStringLiteral("text"), one, 200).bounds().right(), 200, 0.1);
    }
}

TEST(LaidOutTextTest, TakesTheBaseDirectionFromItsStyleNotFromTheText) {
    const QString text = QStringLiteral("Kavio.");
    const auto dotIsAtTheLeft = [&](Qt::LayoutDirection direction) {
        LaidOutText::Style one = style(17);
        one.direction = direction;
        const LaidOutText laidOut(text, one, 200);
        return laidOut.x(6) < laidOut.x(0);
    };
    EXPECT_FALSE(dotIsAtTheLeft(Qt::LeftToRight));
    EXPECT_TRUE(dotIsAtTheLeft(Qt::RightToLeft));
}

} // namespace
} // namespace InstallerCore
