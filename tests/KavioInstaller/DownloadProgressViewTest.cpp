#include "KavioInstaller/DownloadProgressView.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace InstallerCore {
namespace {

constexpr Size size{.width = 708, .height = 8};
constexpr Rect bounds{.x = 0, .y = 0, .width = 708, .height = 8};
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

const Drawing trackOnly = {FillRoundedRectangle{
    .rectangle = bounds, .radius = 4, .color = {.red = 0.9, .green = 0.93, .blue = 0.96}}};

Drawing filledUpTo(double width) {
    Drawing drawing = trackOnly;
    drawing.emplace_back(BeginClip{.rectangle = bounds, .radius = 4});
    drawing.emplace_back(FillRoundedRectangle{.rectangle = {.x = 0, .y = 0, .width = width, .height = 8},
                                              .radius = 0,
                                              .color = {.red = 0.04, .green = 0.48, .blue = 1}});
    drawing.emplace_back(EndClip());
    return drawing;
}

TEST(DownloadProgressViewTest, BeginsDeterminateFromNoneToAHundredAtNone) {
    const DownloadProgressView view;
    EXPECT_EQ(view.minValue, 0);
    EXPECT_EQ(view.maxValue, 100);
    EXPECT_EQ(view.doubleValue, 0);
    EXPECT_FALSE(view.isIndeterminate);
    EXPECT_FALSE(view.activity);
}

TEST(DownloadProgressViewTest, FillsTheTrackAsFarAsTheValueIsInTheRange) {
    struct Case {
        double minimum, maximum, value, width;
    };

    const std::vector<Case> cases = {
        {0, 100, 50, 354},       {0, 100, 37.5, 265.5},
        {0, 100, 100, 708},      {0, 100, 100.5, 708}, // above the maximum
        {0, 100, infinity, 708}, {0, 1024, 1, 708.0 / 1024},
        {50, 150, 75, 177},      {-100, 0, -50, 354},
        {0, 1, 0.25, 177},       {0, 0.5, 0.25, 177}, // a range below one does not divide
        {0, 0.5, 0.5, 354},      {0, 0.999, 2, 708},
        {0, 0, 0.5, 354},        {100, 0, 100.5, 354}, // nor does one that is turned round
        {0, nan, 0.5, 354},
    };
    for (const Case& one : cases) {
        const DownloadProgressView view{
            .minValue = one.minimum, .maxValue = one.maximum, .doubleValue = one.value};
        const ProgressDrawing drawing = view.draw(size);
        EXPECT_EQ(drawing.operations, filledUpTo(one.width))
            << one.minimum << ' ' << one.maximum << ' ' << one.value;
        EXPECT_EQ(drawing.value, ProgressValue{.number = one.value});
    }
}

TEST(DownloadProgressViewTest, DrawsTheTrackAloneAndLeavesTheAccessibleValueWhenNothingIsDone) {
    for (const double value : {0.0, -0.0, -1.0, -infinity, nan}) {
        const DownloadProgressView view{.doubleValue = value};
        EXPECT_EQ(view.draw(size), (ProgressDrawing{.operations = trackOnly, .value = std::nullopt}))
            << value;
    }
    const DownloadProgressView belowMinimum{.minValue = 10, .doubleValue = 9};
    EXPECT_EQ(belowMinimum.draw(size).operations, trackOnly);
    const DownloadProgressView endless{.maxValue = infinity, .doubleValue = infinity};
    EXPECT_EQ(endless.draw(size).operations, trackOnly);
}

TEST(DownloadProgressViewTest, IsFullWithoutAnAccessibleValueWhileIndeterminate) {
    for (const double value : {0.0, 37.5, nan}) {
        const DownloadProgressView view{.doubleValue = value, .isIndeterminate = true};
        const ProgressDrawing drawing = view.draw(size);
        EXPECT_EQ(drawing.operations, filledUpTo(708));
        EXPECT_EQ(drawing.value, ProgressValue{.number = std::nullopt});
    }
}

TEST(DownloadProgressViewTest, FollowsTheSizeItIsDrawnIn) {
    const DownloadProgressView view{.doubleValue = 50};
    const ProgressDrawing drawing = view.draw({.width = 100, .height = 20});
    EXPECT_EQ(std::get<FillRoundedRectangle>(drawing.operations.at(0)).rectangle,
              (Rect{.x = 0, .y = 0, .width = 100, .height = 20}));
    EXPECT_EQ(std::get<FillRoundedRectangle>(drawing.operations.at(2)).rectangle,
              (Rect{.x = 0, .y = 0, .width = 50, .height = 20}));
}

TEST(DownloadProgressViewTest, PulsesOnlyWhenStartedWhileIndeterminate) {
    DownloadProgressView view;
    view.startAnimation();
    EXPECT_FALSE(view.activity);
    view.isIndeterminate = true;
    EXPECT_FALSE(view.activity);
    view.startAnimation();
    EXPECT_EQ(view.activity, (ActivityAnimation{.fromOpacity = 1, .toOpacity = 0.45, .seconds = 0.8}));
}

TEST(DownloadProgressViewTest, GoesOnPulsingWhenDeterminateUntilTheAnimationIsRemoved) {
    DownloadProgressView view{.isIndeterminate = true};
    view.startAnimation();
    view.isIndeterminate = false;
    EXPECT_TRUE(view.activity);
    view.startAnimation();
    EXPECT_TRUE(view.activity);
    view.removeActivity();
    EXPECT_FALSE(view.activity);
}

} // namespace
} // namespace InstallerCore
