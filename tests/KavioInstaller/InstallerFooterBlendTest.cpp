#include "KavioInstaller/InstallerFooterBlend.h"

#include <gtest/gtest.h>

namespace InstallerCore {
namespace {

TEST(InstallerFooterBlendTest, FadesFromOpaqueWhiteAtItsBottomToNothingAtItsTop) {
    const Drawing expected = {FillGradient{.rectangle = {.x = 0, .y = 0, .width = 780, .height = 60},
                                           .top = {.red = 1, .green = 1, .blue = 1, .alpha = 0},
                                           .bottom = {.red = 1, .green = 1, .blue = 1, .alpha = 1}}};
    EXPECT_EQ(InstallerFooterBlend::draw({.width = 780, .height = 60}), expected);
}

TEST(InstallerFooterBlendTest, FillsItsBounds) {
    const Drawing drawing = InstallerFooterBlend::draw({.width = 10, .height = 20});
    EXPECT_EQ(std::get<FillGradient>(drawing.at(0)).rectangle,
              (Rect{.x = 0, .y = 0, .width = 10, .height = 20}));
}

} // namespace
} // namespace InstallerCore
