#include "hosts/linux/window/InstallerWindowQt.h"

#include "hosts/linux/window/DownloadProgressWidget.h"
#include "hosts/linux/window/FooterWidget.h"
#include "hosts/linux/window/IntroWidget.h"
#include "hosts/linux/window/LabelWidget.h"
#include "hosts/linux/window/QtValues.h"
#include "tests/hosts/linux/window/Pixels.h"
#include "tests/hosts/linux/window/WindowStates.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QPushButton>
#include <QTest>
#include <map>

namespace InstallerCore {
namespace {

using Testing::hasColor;
using Testing::paintedWidget;

constexpr Color white = Color::gray(1);

class InstallerWindowQtTest : public testing::Test {
protected:
    template <typename Widget>
    [[nodiscard]] Widget& child() {
        return *dynamic_cast<Widget*>(children<Widget>().front());
    }

    template <typename Widget>
    [[nodiscard]] std::vector<QWidget*> children() {
        std::vector<QWidget*> result;
        for (QObject* one : window.children()) {
            if (auto* widget = dynamic_cast<Widget*>(one)) {
                result.push_back(widget);
            }
        }
        return result;
    }

    [[nodiscard]] LabelWidget& label() { return child<LabelWidget>(); }

    [[nodiscard]] LabelWidget& percentage() {
        return *dynamic_cast<LabelWidget*>(children<LabelWidget>().back());
    }

    [[nodiscard]] QPushButton& button() { return child<QPushButton>(); }

    void showOnScreen() {
        window.orderFront();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    }

    bool mayClose = true;
    int asked = 0;
    int pressed = 0;
    InstallerWindowQt window{{.shouldClose =
                                  [this] {
                                      ++asked;
                                      return mayClose;
                                  },
                              .action = [this] { ++pressed; }}};
};

TEST_F(InstallerWindowQtTest, IsNotOnTheScreenBeforeItIsOrderedThere) {
    EXPECT_FALSE(window.isVisible());
    window.setValue(Testing::errorWindow());
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(window.windowHandle(), nullptr); // there is nothing that a desktop could list
    window.orderFront();
    EXPECT_TRUE(window.isVisible());
    window.orderOut();
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(asked, 0); // which is no close
    window.orderFront();
    EXPECT_TRUE(window.isVisible());
}

TEST_F(InstallerWindowQtTest, ComesBackFromBeingMinimised) {
    window.orderFront();
    window.showMinimized();
    window.orderFront();
    EXPECT_FALSE(window.isMinimized());
}

TEST_F(InstallerWindowQtTest, HasATitleAndOneSize) {
    EXPECT_EQ(window.windowTitle(), QStringLiteral("Kavio Installer"));
    EXPECT_EQ(window.minimumSize(), QSize(780, 570));
    EXPECT_EQ(window.maximumSize(), QSize(780, 570));
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::WindowCloseButtonHint));
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::WindowMinimizeButtonHint));
    EXPECT_FALSE(window.windowFlags().testFlag(Qt::WindowMaximizeButtonHint));
}

TEST_F(InstallerWindowQtTest, PlacesItsViewsFromTheTop) {
    window.setValue(Testing::downloadingWindow());
    EXPECT_EQ(child<IntroWidget>().geometry(), QRect(0, 0, 780, 480));
    EXPECT_EQ(child<FooterWidget>().geometry(), QRect(0, 420, 780, 60));
    EXPECT_EQ(label().geometry(), QRect(36, 524, 620, 26));
    EXPECT_EQ(child<DownloadProgressWidget>().geometry(), QRect(36, 500, 708, 8));
    EXPECT_EQ(percentage().geometry(), QRect(662, 524, 82, 26));
    EXPECT_EQ(button().geometry(), QRect(624, 518, 120, 32));
    window.setValue(Testing::pausedWindow());
    EXPECT_EQ(label().geometry(), QRect(36, 524, 620, 26));
    window.setValue(Testing::errorWindow());
    EXPECT_EQ(label().geometry(), QRect(36, 500, 570, 56));
}

TEST_F(InstallerWindowQtTest, HasItsViewsInTheirOrder) {
    const std::map<InstallerWindow::View, QWidget*> widgets = {
        {InstallerWindow::View::intro, &child<IntroWidget>()},
        {InstallerWindow::View::footer, &child<FooterWidget>()},
        {InstallerWindow::View::label, &label()},
        {InstallerWindow::View::bar, &child<DownloadProgressWidget>()},
        {InstallerWindow::View::percentage, &percentage()},
        {InstallerWindow::View::action, &button()}};
    std::vector<QWidget*> expected;
    for (const auto view : InstallerWindow::order) {
        expected.push_back(widgets.at(view));
    }
    EXPECT_EQ(children<QWidget>(), expected);
}

TEST_F(InstallerWindowQtTest, ShowsTheTextsAndWhatIsNotHidden) {
    window.setValue(Testing::downloadingWindow());
    EXPECT_EQ(label().text(), QStringLiteral("Downloading Kavio…"));
    EXPECT_EQ(percentage().text(), QStringLiteral("37.5%"));
    EXPECT_EQ(button().text(), QStringLiteral("Retry"));
    EXPECT_TRUE(child<DownloadProgressWidget>().isVisibleTo(&window));
    EXPECT_TRUE(percentage().isVisibleTo(&window));
    EXPECT_FALSE(button().isVisibleTo(&window));

    window.setValue(Testing::errorWindow());
    EXPECT_FALSE(child<DownloadProgressWidget>().isVisibleTo(&window));
    EXPECT_FALSE(percentage().isVisibleTo(&window));
    EXPECT_TRUE(button().isVisibleTo(&window));

    window.setValue(Testing::pausedWindow());
    EXPECT_TRUE(child<DownloadProgressWidget>().isVisibleTo(&window));
    EXPECT_TRUE(button().isVisibleTo(&window));

    window.setValue(Testing::checkingWindow());
    EXPECT_FALSE(button().isEnabled());
    EXPECT_FALSE(button().isVisibleTo(&window));
}

TEST_F(InstallerWindowQtTest, HasTheFontsOfTheTwoLooks) {
    window.setValue(Testing::downloadingWindow());
    EXPECT_EQ(label().font().pixelSize(), 17);
    EXPECT_EQ(percentage().font().pixelSize(), 17);
    window.setValue(Testing::errorWindow());
    EXPECT_EQ(label().font().pixelSize(), 15);
}

TEST_F(InstallerWindowQtTest, WritesFromTheRightInARightToLeftLanguageOnly) {
    window.setValue(Testing::arabicDownloadingWindow());
    EXPECT_EQ(label().layoutDirection(), Qt::RightToLeft);
    EXPECT_TRUE(label().alignment().testFlag(Qt::AlignRight));
    EXPECT_TRUE(label().alignment().testFlag(Qt::AlignAbsolute));
    window.setValue(Testing::downloadingWindow());
    EXPECT_EQ(label().layoutDirection(), Qt::LeftToRight);
    EXPECT_TRUE(label().alignment().testFlag(Qt::AlignLeft));
}

TEST_F(InstallerWindowQtTest, LooksAsItsViewsSay) {
    window.setValue(Testing::downloadingWindow());
    for (const int scale : {1, 2}) {
        const QImage image = paintedWidget(window, scale);
        EXPECT_EQ(image.size(), QSize(780, 570) * scale);
        EXPECT_TRUE(hasColor(image, 2, 0, {.red = 0.94, .green = 0.92, .blue = 1})); // lilac on top
        EXPECT_TRUE(hasColor(image, 2, 478, white)); // white at the footer's bottom
        EXPECT_TRUE(hasColor(image, 2, 560, white));
        EXPECT_TRUE(hasColor(image, 575, 85, white)); // the card
        const int above = qGray(image.pixel(575 * scale, 74 * scale));
        const int below = qGray(image.pixel(575 * scale, 324 * scale));
        EXPECT_LT(below, above); // its shadow falls down
        EXPECT_TRUE(hasColor(image, 100, 504, {.red = 0.04, .green = 0.48, .blue = 1}));
        EXPECT_TRUE(hasColor(image, 500, 504, {.red = 0.9, .green = 0.93, .blue = 0.96}));
    }
}

// The columns of a band of the picture that have dark ink.
std::pair<int, int> darkColumns(const QImage& image, QRect band) {
    int first = -1;
    int last = -1;
    for (int x = band.left(); x <= band.right(); ++x) {
        for (int y = band.top(); y <= band.bottom(); ++y) {
            if (qGray(image.pixel(x, y)) < 90) {
                first = first < 0 ? x : first;
                last = x;
            }
        }
    }
    return {first, last};
}

TEST_F(InstallerWindowQtTest, KeepsThePausedTextBesideTheButtonInEitherDirection) {
    constexpr QRect besideButton(0, 518, 624, 40);
    window.setValue(Testing::pausedWindow());
    const auto [left, leftEnd] = darkColumns(paintedWidget(window, 1), besideButton);
    EXPECT_NEAR(left, 37, 2);
    EXPECT_LT(leftEnd, 612);

    window.setValue(Testing::arabicPausedWindow());
    const auto [right, rightEnd] = darkColumns(paintedWidget(window, 1), besideButton);
    EXPECT_GT(right, 36);
    EXPECT_NEAR(rightEnd, 610, 4);
    EXPECT_TRUE(hasColor(paintedWidget(window, 1), 618, 534, white)); // a gap between the two
}

// The rows of the status line's frame that have dark ink, from its top.
std::pair<int, int> darkRows(InstallerWindowQt& window, const InstallerWindow& value) {
    window.setValue(value);
    const QRect frame = window.findChild<LabelWidget*>()->geometry();
    const QImage turned = paintedWidget(window, 1).copy(frame).transformed(QTransform(0, 1, 1, 0, 0, 0));
    return darkColumns(turned, turned.rect());
}

TEST_F(InstallerWindowQtTest, PutsAShortErrorInTheMiddleAndAStatusAtTheTop) {
    InstallerWindow error = Testing::errorWindow();
    error.label.text = "HHH";
    const auto [first, last] = darkRows(window, error);
    EXPECT_NEAR((first + last) / 2.0, 56 / 2.0, 2);

    InstallerWindow status = Testing::downloadingWindow();
    status.label.text = "HHH";
    const auto [top, bottom] = darkRows(window, status);
    EXPECT_LT(top, 10);
    EXPECT_LT(bottom, 22);
}

TEST_F(InstallerWindowQtTest, HidesThePercentageBehindTheButtonWhilePaused) {
    window.setValue(Testing::pausedWindow());
    InstallerWindow other = Testing::pausedWindow();
    other.percentage.text.clear();
    const QImage with = paintedWidget(window, 1);
    window.setValue(other);
    EXPECT_EQ(with, paintedWidget(window, 1));
}

TEST_F(InstallerWindowQtTest, DrawsTheSameForTheSameValueWhateverCameBefore) {
    window.setValue(Testing::downloadingWindow());
    const QImage fresh = paintedWidget(window, 1);
    window.setValue(Testing::arabicErrorWindow());
    EXPECT_NE(paintedWidget(window, 1), fresh);
    window.setValue(Testing::downloadingWindow());
    window.setValue(Testing::downloadingWindow());
    EXPECT_EQ(paintedWidget(window, 1), fresh);
}

TEST_F(InstallerWindowQtTest, ReturnAndEnterPressTheButton) {
    window.setValue(Testing::errorWindow());
    showOnScreen();
    QTest::keyClick(&window, Qt::Key_Return);
    EXPECT_EQ(pressed, 1);
    QTest::keyClick(&window, Qt::Key_Enter);
    EXPECT_EQ(pressed, 2);
    QTest::keyClick(&button(), Qt::Key_Return); // which has the focus
    EXPECT_EQ(pressed, 3);
    QTest::keyClick(&button(), Qt::Key_Space);
    EXPECT_EQ(pressed, 4);
    QTest::mouseClick(&button(), Qt::LeftButton);
    EXPECT_EQ(pressed, 5);
    EXPECT_TRUE(button().isDefault());
}

TEST_F(InstallerWindowQtTest, ReturnPressesNoButtonThatIsHiddenOrDisabled) {
    InstallerWindow value = Testing::downloadingWindow();
    window.setValue(value);
    showOnScreen();
    QTest::keyClick(&window, Qt::Key_Return);
    value.action.isHidden = false;
    value.action.isEnabled = false;
    window.setValue(value);
    QTest::keyClick(&window, Qt::Key_Return);
    EXPECT_EQ(pressed, 0);
    value.action.isEnabled = true;
    window.setValue(value);
    QTest::keyClick(&window, Qt::Key_Return);
    EXPECT_EQ(pressed, 1);
}

TEST_F(InstallerWindowQtTest, EscapeClosesNothing) {
    window.setValue(Testing::errorWindow());
    showOnScreen();
    QTest::keyClick(&window, Qt::Key_Escape);
    EXPECT_TRUE(window.isVisible());
    EXPECT_EQ(asked, 0);
}

TEST_F(InstallerWindowQtTest, ClosesOnlyWhenItMay) {
    window.setValue(Testing::downloadingWindow());
    window.orderFront();
    mayClose = false;
    EXPECT_FALSE(window.close());
    EXPECT_TRUE(window.isVisible());
    EXPECT_EQ(asked, 1);
    mayClose = true;
    EXPECT_TRUE(window.close());
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(asked, 2);
}

TEST_F(InstallerWindowQtTest, ItsFooterTakesNoClicks) {
    window.setValue(Testing::downloadingWindow());
    window.orderFront();
    EXPECT_EQ(window.childAt(390, 450), &child<IntroWidget>());
}

TEST_F(InstallerWindowQtTest, GivesTheButtonTheFocusWithEachFailure) {
    window.setValue(Testing::downloadingWindow());
    showOnScreen();
    EXPECT_FALSE(button().hasFocus());
    InstallerWindow error = Testing::errorWindow();
    window.setValue(error);
    EXPECT_TRUE(button().hasFocus());
    EXPECT_EQ(button().accessibleDescription(), toQt(error.label.text));

    error.action.isEnabled = false;
    window.setValue(error);
    EXPECT_FALSE(button().hasFocus());
    error.action.isEnabled = true;
    window.setValue(error);
    EXPECT_TRUE(button().hasFocus());
}

TEST_F(InstallerWindowQtTest, IsLightOnADarkDesktop) {
    const QPalette before = QApplication::palette();
    window.setValue(Testing::downloadingWindow());
    const QImage light = paintedWidget(window, 1);
    QApplication::setPalette(QPalette(Qt::black));
    EXPECT_EQ(paintedWidget(window, 1), light);
    QApplication::setPalette(before);
}

} // namespace
} // namespace InstallerCore
