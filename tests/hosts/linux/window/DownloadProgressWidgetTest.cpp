#include "hosts/linux/window/DownloadProgressWidget.h"

#include "tests/hosts/linux/window/Pixels.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <memory>

namespace InstallerCore {
namespace {

using Testing::hasColor;
using Testing::paintedWidget;

constexpr Color track{.red = 0.9, .green = 0.93, .blue = 0.96};
constexpr Color accent{.red = 0.04, .green = 0.48, .blue = 1};
constexpr Color white = Color::gray(1);

class DownloadProgressWidgetTest : public testing::Test {
protected:
    DownloadProgressWidgetTest() { widget.resize(708, 8); }

    [[nodiscard]] QAccessibleInterface& accessible() {
        return *QAccessible::queryAccessibleInterface(&widget);
    }

    [[nodiscard]] QVariant accessibleValue() { return accessible().valueInterface()->currentValue(); }

    DownloadProgressWidget widget{nullptr};
};

TEST_F(DownloadProgressWidgetTest, PaintsTheTrackAndWhatIsDoneOfIt) {
    widget.setView({.doubleValue = 50});
    for (const int scale : {1, 2}) {
        const QImage image = paintedWidget(widget, scale);
        EXPECT_TRUE(hasColor(image, 353.5, 4, accent));
        EXPECT_TRUE(hasColor(image, 354, 4, track));
        EXPECT_TRUE(hasColor(image, 700, 4, track));
        EXPECT_TRUE(hasColor(image, 10, 0, accent));
        EXPECT_TRUE(hasColor(image, 10, 7.5, accent));
    }
    const QImage sharp = paintedWidget(widget, 2);
    EXPECT_TRUE(hasColor(sharp, 0, 0, white)); // its ends are round
    EXPECT_TRUE(hasColor(sharp, 707.5, 7.5, white));
}

TEST_F(DownloadProgressWidgetTest, PaintsTheTrackAloneAtNoneAndAllOfItAtTheEnd) {
    widget.setView({.doubleValue = 0});
    EXPECT_TRUE(hasColor(paintedWidget(widget, 1), 4, 4, track));
    widget.setView({.doubleValue = 100});
    EXPECT_TRUE(hasColor(paintedWidget(widget, 1), 703, 4, accent));
}

TEST_F(DownloadProgressWidgetTest, PulsesBetweenItsTwoOpacitiesForEver) {
    constexpr ActivityAnimation animation;
    EXPECT_DOUBLE_EQ(opacityAt(animation, 0), 1);
    EXPECT_DOUBLE_EQ(opacityAt(animation, 0.4), 0.725);
    EXPECT_DOUBLE_EQ(opacityAt(animation, 0.8), 0.45);
    EXPECT_DOUBLE_EQ(opacityAt(animation, 1.2), 0.725);
    EXPECT_DOUBLE_EQ(opacityAt(animation, 1.6), 1);
    EXPECT_NEAR(opacityAt(animation, 1600.8), 0.45, 1e-9);
    for (int step = 0; step < 1000; ++step) {
        const double opacity = opacityAt(animation, step * 0.037);
        EXPECT_GE(opacity, 0.45);
        EXPECT_LE(opacity, 1);
    }
}

TEST_F(DownloadProgressWidgetTest, FadesAsAWhole) {
    DownloadProgressView view{.isIndeterminate = true};
    view.activity = ActivityAnimation{.fromOpacity = 0.5, .toOpacity = 0.5};
    widget.setView(view);
    const Color half{.red = (1 + accent.red) / 2, .green = (1 + accent.green) / 2, .blue = 1};
    EXPECT_TRUE(hasColor(paintedWidget(widget, 1), 350, 4, half)); // the track does not shine through
}

TEST_F(DownloadProgressWidgetTest, IsFullyOpaqueWithoutTheAnimation) {
    DownloadProgressView view{.isIndeterminate = true};
    view.startAnimation();
    widget.setView(view);
    view.removeActivity();
    widget.setView(view);
    EXPECT_TRUE(hasColor(paintedWidget(widget, 1), 350, 4, accent));
}

TEST_F(DownloadProgressWidgetTest, IsAProgressIndicatorWithItsRange) {
    EXPECT_EQ(accessible().role(), QAccessible::ProgressBar);
    widget.setView({.minValue = 5, .maxValue = 50, .doubleValue = 20});
    EXPECT_EQ(accessible().valueInterface()->minimumValue(), 5.0);
    EXPECT_EQ(accessible().valueInterface()->maximumValue(), 50.0);
    EXPECT_TRUE(accessible().state().readOnly);
}

TEST_F(DownloadProgressWidgetTest, TellsItsValueAsDrawn) {
    EXPECT_FALSE(accessibleValue().isValid());
    widget.setView({.doubleValue = 37.5});
    EXPECT_EQ(accessibleValue(), 37.5);
    widget.setView({.doubleValue = 0}); // draws the track alone: the value stays
    EXPECT_EQ(accessibleValue(), 37.5);
    widget.setView({.doubleValue = 10, .isIndeterminate = true});
    EXPECT_FALSE(accessibleValue().isValid());
    EXPECT_TRUE(accessible().state().busy);
    widget.setView({.doubleValue = 100});
    EXPECT_EQ(accessibleValue(), 100.0);
    EXPECT_FALSE(accessible().state().busy);
}

TEST_F(DownloadProgressWidgetTest, IsNotSetByAScreenReader) {
    widget.setView({.doubleValue = 37.5});
    accessible().valueInterface()->setCurrentValue(90.0);
    EXPECT_EQ(accessibleValue(), 37.5);
    EXPECT_EQ(widget.view().doubleValue, 37.5);
}

} // namespace
} // namespace InstallerCore
