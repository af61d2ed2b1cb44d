#include "KavioInstaller/InstallerWindow.h"

#include <gtest/gtest.h>

namespace InstallerCore {
namespace {

constexpr Rect normalFrame{.x = 36, .y = 20, .width = 620, .height = 26};
constexpr Rect errorFrame{.x = 36, .y = 14, .width = 570, .height = 56};

InstallerWindow laidOut(bool isRightToLeft = false) {
    InstallerWindow window;
    window.layOut(isRightToLeft, "Retry");
    return window;
}

TEST(InstallerWindowTest, HasATitleASizeAndAWhiteBackground) {
    EXPECT_STREQ(InstallerWindow::title, "Kavio Installer");
    EXPECT_EQ(InstallerWindow::contentSize, (Size{.width = 780, .height = 570}));
    EXPECT_EQ(InstallerWindow::background, (Color{.red = 1, .green = 1, .blue = 1, .alpha = 1}));
}

TEST(InstallerWindowTest, BeginsWithAWrappingStatusLineAndNoTexts) {
    const InstallerWindow window;
    EXPECT_TRUE(window.label.wraps);
    EXPECT_FALSE(window.percentage.wraps);
    EXPECT_EQ(window.label.text, "");
    EXPECT_EQ(window.percentage.text, "");
    EXPECT_EQ(window.action.title, "");
}

TEST(InstallerWindowTest, PlacesTheIntroAndTheFooterOverItsLowerPart) {
    const InstallerWindow window = laidOut();
    EXPECT_EQ(window.introFrame, (Rect{.x = 0, .y = 90, .width = 780, .height = 480}));
    EXPECT_EQ(window.footerFrame, (Rect{.x = 0, .y = 90, .width = 780, .height = 60}));
}

TEST(InstallerWindowTest, LaysOutTheStatusLine) {
    const TextLabel expected{.text = "",
                             .frame = normalFrame,
                             .font = {.size = 17, .weight = FontWeight::regular, .monospacedDigits = false},
                             .alignment = TextAlignment::left,
                             .isRightToLeft = false,
                             .wraps = true,
                             .isHidden = false};
    EXPECT_EQ(laidOut().label, expected);
}

TEST(InstallerWindowTest, LaysOutThePercentage) {
    const TextLabel expected{.text = "",
                             .frame = {.x = 662, .y = 20, .width = 82, .height = 26},
                             .font = {.size = 17, .weight = FontWeight::regular, .monospacedDigits = true},
                             .alignment = TextAlignment::right,
                             .isRightToLeft = false,
                             .wraps = false,
                             .isHidden = false};
    EXPECT_EQ(laidOut().percentage, expected);
}

TEST(InstallerWindowTest, LaysOutTheButton) {
    const PushButton expected{.title = "Retry",
                              .frame = {.x = 624, .y = 20, .width = 120, .height = 32},
                              .isEnabled = true,
                              .isHidden = false};
    EXPECT_EQ(laidOut().action, expected);
}

TEST(InstallerWindowTest, LaysOutTheBar) {
    InstallerWindow window;
    window.bar = {.minValue = 3, .maxValue = 4, .doubleValue = 5, .isIndeterminate = true};
    window.layOut(false, "Retry");
    EXPECT_EQ(window.barFrame, (Rect{.x = 36, .y = 62, .width = 708, .height = 8}));
    EXPECT_EQ(window.bar, (DownloadProgressView{.minValue = 0, .maxValue = 100, .doubleValue = 5}));
}

TEST(InstallerWindowTest, WritesTheStatusFromTheRightInARightToLeftLanguageAndMovesNothing) {
    const InstallerWindow window = laidOut(true);
    EXPECT_EQ(window.label.alignment, TextAlignment::right);
    EXPECT_TRUE(window.label.isRightToLeft);
    const InstallerWindow other = laidOut(false);
    EXPECT_EQ(window.label.frame, other.label.frame);
    EXPECT_EQ(window.bar, other.bar);
    EXPECT_EQ(window.barFrame, other.barFrame);
    EXPECT_EQ(window.percentage, other.percentage);
    EXPECT_EQ(window.action, other.action);
}

TEST(InstallerWindowTest, ShowsTheButtonInsteadOfTheBarAndThePercentageInTheErrorLook) {
    InstallerWindow window = laidOut();
    window.setErrorPresentation(true, "Retry");
    EXPECT_TRUE(window.isBarHidden);
    EXPECT_TRUE(window.percentage.isHidden);
    EXPECT_FALSE(window.action.isHidden);
    EXPECT_EQ(window.label.frame, errorFrame);
    EXPECT_EQ(window.label.font, (Font{.size = 15}));
    EXPECT_TRUE(window.label.isInMiddle);
}

TEST(InstallerWindowTest, HidesTheButtonInTheNormalLookThoughItHasATitle) {
    InstallerWindow window = laidOut();
    window.setErrorPresentation(true, "Retry");
    window.setErrorPresentation(false, "Retry");
    EXPECT_FALSE(window.isBarHidden);
    EXPECT_FALSE(window.percentage.isHidden);
    EXPECT_TRUE(window.action.isHidden);
    EXPECT_EQ(window.action.title, "Retry");
    EXPECT_EQ(window.label.frame, normalFrame);
    EXPECT_EQ(window.label.font, (Font{.size = 17}));
    EXPECT_FALSE(window.label.isInMiddle);
}

TEST(InstallerWindowTest, MakesTheButtonRetryAndStopsThePulseInTheErrorLookAlone) {
    InstallerWindow window = laidOut();
    window.bar.isIndeterminate = true;
    window.bar.startAnimation();
    window.action = {.title = "Other", .isEnabled = false};
    window.setErrorPresentation(false, "Retry");
    EXPECT_TRUE(window.bar.activity);
    EXPECT_EQ(window.action.title, "Other");
    EXPECT_FALSE(window.action.isEnabled);

    window.setErrorPresentation(true, "Retry");
    EXPECT_FALSE(window.bar.activity);
    EXPECT_TRUE(window.bar.isIndeterminate);
    EXPECT_EQ(window.action.title, "Retry");
    EXPECT_TRUE(window.action.isEnabled);
}

TEST(InstallerWindowTest, KeepsAlignmentDirectionTextAndWrappingWhenTheLookChanges) {
    InstallerWindow window = laidOut(true);
    window.label.text = "text";
    for (const bool isError : {true, false}) {
        window.setErrorPresentation(isError, "Retry");
        EXPECT_EQ(window.label.alignment, TextAlignment::right);
        EXPECT_TRUE(window.label.isRightToLeft);
        EXPECT_TRUE(window.label.wraps);
        EXPECT_EQ(window.label.text, "text");
    }
}

TEST(InstallerWindowTest, KeepsTheStatusTextOutFromUnderAVisibleButton) {
    InstallerWindow window = laidOut();
    window.setErrorPresentation(false, "Retry");
    EXPECT_EQ(window.labelTextWidth(), 620);

    window.action.isHidden = false; // paused
    EXPECT_EQ(window.label.frame, normalFrame);
    EXPECT_EQ(window.labelTextWidth(), 576);

    window.setErrorPresentation(true, "Retry"); // ends before the button as it is
    EXPECT_EQ(window.labelTextWidth(), 570);
}

TEST(InstallerWindowTest, HasAButtonThatCanBePressedOnlyWhileItIsSeenAndEnabled) {
    for (const bool isEnabled : {false, true}) {
        for (const bool isHidden : {false, true}) {
            const PushButton button{.title = "Retry", .isEnabled = isEnabled, .isHidden = isHidden};
            EXPECT_EQ(button.canBePressed(), isEnabled && !isHidden) << isEnabled << isHidden;
        }
    }
}

TEST(InstallerWindowTest, CallsTheBarByTheStatus) {
    InstallerWindow window = laidOut();
    window.label.text = "Downloading Kavio";
    EXPECT_EQ(window.barName(), "Downloading Kavio");
}

TEST(InstallerWindowTest, AnnouncesTheStatusOnceOnlyTheButtonLeadsOn) {
    InstallerWindow window = laidOut();
    window.label.text = "It failed.";
    window.setErrorPresentation(false, "Retry");
    EXPECT_EQ(window.announcement(), "");
    window.setErrorPresentation(true, "Retry");
    EXPECT_EQ(window.announcement(), "It failed.");
    window.action.isEnabled = false; // it is tried again
    EXPECT_EQ(window.announcement(), "");
}

} // namespace
} // namespace InstallerCore
