#include "hosts/linux/window/DrawingPainter.h"

#include "tests/hosts/linux/window/Pixels.h"

#include <gtest/gtest.h>

#include <QPainter>

namespace InstallerCore {
namespace {

using Testing::hasColor;
using Testing::paintedDrawing;

constexpr Color white = Color::gray(1);
constexpr Color blue{.red = 0.04, .green = 0.48, .blue = 1};
constexpr Size size{.width = 100, .height = 60};

// How dark the pixel is, 0 to 255.
int darkness(const QImage& image, double x, double y) {
    const qreal scale = image.devicePixelRatio();
    return 255 - qGray(image.pixel(static_cast<int>(x * scale), static_cast<int>(y * scale)));
}

// Where there is any ink, in device pixels.
QRect ink(const QImage& image) {
    QRect result;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) != qRgb(255, 255, 255)) {
                result |= QRect(x, y, 1, 1);
            }
        }
    }
    return result;
}

class DrawingPainterTest : public testing::TestWithParam<int> {
protected:
    [[nodiscard]] static QImage painted(const Drawing& drawing) {
        return paintedDrawing(drawing, size, GetParam());
    }
};

TEST_P(DrawingPainterTest, FillsARoundedRectangleAndLeavesItsCornersFree) {
    const QImage image = painted({FillRoundedRectangle{
        .rectangle = {.x = 10, .y = 20, .width = 40, .height = 30}, .radius = 8, .color = blue}});
    EXPECT_TRUE(hasColor(image, 30, 35, blue));
    EXPECT_TRUE(hasColor(image, 30, 20, blue));
    EXPECT_TRUE(hasColor(image, 30, 49.5, blue));
    EXPECT_TRUE(hasColor(image, 10, 35, blue));
    EXPECT_TRUE(hasColor(image, 49.5, 35, blue));
    EXPECT_TRUE(hasColor(image, 30, 19.5, white));
    EXPECT_TRUE(hasColor(image, 30, 50, white));
    for (const double x : {10.0, 49.5}) {
        for (const double y : {20.0, 49.5}) {
            EXPECT_TRUE(hasColor(image, x, y, white));
        }
    }
}

TEST_P(DrawingPainterTest, BlendsAColourWithWhatLiesBelow) {
    const QImage image =
        painted({FillRoundedRectangle{.rectangle = {.x = 0, .y = 0, .width = 100, .height = 60},
                                      .radius = 0,
                                      .color = Color::gray(0, 0.25)}});
    EXPECT_TRUE(hasColor(image, 50, 30, Color::gray(0.75)));
}

TEST_P(DrawingPainterTest, RunsAGradientFromTopToBottom) {
    const QImage image = painted({FillGradient{.rectangle = {.x = 0, .y = 10, .width = 100, .height = 40},
                                               .top = blue,
                                               .bottom = blue.withAlpha(0)}});
    EXPECT_TRUE(hasColor(image, 50, 9.5, white));
    EXPECT_GT(darkness(image, 50, 10), darkness(image, 50, 30));
    EXPECT_GT(darkness(image, 50, 30), darkness(image, 50, 49));
    EXPECT_EQ(darkness(image, 0, 30), darkness(image, 99, 30));
    EXPECT_NEAR(darkness(image, 50, 30), (255 - qGray(10, 122, 255)) / 2, 3);
    EXPECT_TRUE(hasColor(image, 50, 50, white));
}

TEST_P(DrawingPainterTest, CutsOffWhatIsOutsideOfAClipAndNothingAfterIt) {
    const FillRoundedRectangle left{
        .rectangle = {.x = 0, .y = 0, .width = 50, .height = 60}, .radius = 0, .color = blue};
    const FillRoundedRectangle bottom{
        .rectangle = {.x = 0, .y = 50, .width = 100, .height = 10}, .radius = 0, .color = Color::gray(0)};
    const QImage image =
        painted({BeginClip{.rectangle = {.x = 10, .y = 10, .width = 80, .height = 30}, .radius = 10}, left,
                 EndClip(), bottom});
    EXPECT_TRUE(hasColor(image, 30, 25, blue));
    EXPECT_TRUE(hasColor(image, 49.5, 25, blue));
    EXPECT_TRUE(hasColor(image, 50, 25, white));
    EXPECT_TRUE(hasColor(image, 9.5, 25, white));
    EXPECT_TRUE(hasColor(image, 30, 9.5, white));
    EXPECT_TRUE(hasColor(image, 10, 10, white)); // the clip's corner is round
    EXPECT_TRUE(hasColor(image, 99, 59, Color::gray(0)));
}

TEST_P(DrawingPainterTest, LetsAShadowFallWhereItsOffsetSays) {
    const FillShadowed card{
        .shape = {.rectangle = {.x = 30, .y = 20, .width = 40, .height = 20}, .radius = 4, .color = white},
        .shadow = Color::gray(0, 0.5),
        .blurRadius = 8,
        .offset = {.x = 0, .y = 4}};
    const QImage image = painted({card});
    EXPECT_TRUE(hasColor(image, 50, 30, white)); // the shape is in front
    EXPECT_GT(darkness(image, 50, 40), 20);
    EXPECT_GT(darkness(image, 50, 40), 2 * darkness(image, 50, 19));
    EXPECT_GT(darkness(image, 50, 40), darkness(image, 50, 44));
    EXPECT_GT(darkness(image, 50, 44), darkness(image, 50, 48));
    EXPECT_EQ(darkness(image, 29.5, 34), darkness(image, 70, 34)); // to both sides alike
    EXPECT_TRUE(hasColor(image, 2, 34, white));                    // and not far
}

TEST_P(DrawingPainterTest, WritesATextIntoItsFrame) {
    const QImage image = painted({DrawText{.text = "M",
                                           .frame = {.x = 20, .y = 10, .width = 60, .height = 40},
                                           .font = {.size = 20, .weight = FontWeight::bold},
                                           .color = Color::gray(0)}});
    const QRect letter = ink(image);
    EXPECT_GE(letter.left(), 20 * GetParam());
    EXPECT_LE(letter.left(), 24 * GetParam());
    EXPECT_GE(letter.top(), 10 * GetParam());
    EXPECT_NEAR(letter.height(), 14.5 * GetParam(), 1.5 * GetParam()); // a capital of this font
}

TEST_P(DrawingPainterTest, WrapsATextAtTheEdgeOfItsFrameAndAtLineFeeds) {
    const auto inkOf = [](const char* text, double width) {
        return ink(painted({DrawText{.text = text,
                                     .frame = {.x = 0, .y = 0, .width = width, .height = 60},
                                     .font = {.size = 16},
                                     .color = Color::gray(0)}}));
    };
    const QRect line = inkOf("one two", 100);
    const QRect wrapped = inkOf("one two", 50);
    EXPECT_GT(wrapped.height(), 2 * line.height());
    EXPECT_LT(wrapped.right(), 50 * GetParam());
    EXPECT_EQ(inkOf("one\ntwo", 100), wrapped);
}

TEST_P(DrawingPainterTest, LeavesThePainterAsItWas) {
    QImage image(10, 10, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setPen(Qt::red);
    painter.setBrush(Qt::green);
    paint(painter,
          {BeginClip{.rectangle = {.x = 0, .y = 0, .width = 1, .height = 1}},
           FillRoundedRectangle{.rectangle = {.x = 0, .y = 0, .width = 1, .height = 1}, .color = blue}});
    EXPECT_EQ(painter.pen().color(), QColor(Qt::red));
    EXPECT_EQ(painter.brush().color(), QColor(Qt::green));
    EXPECT_FALSE(painter.hasClipping());
    EXPECT_FALSE(painter.testRenderHint(QPainter::Antialiasing));
}

INSTANTIATE_TEST_SUITE_P(Densities, DrawingPainterTest, testing::Values(1, 2));

} // namespace
} // namespace InstallerCore
