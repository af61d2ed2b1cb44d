// The icon, and the file of it as it lies in the Mac application's resources.
#include "artwork/InstallerIcon.h"

#include "artwork/IconFile.h"

#include <gtest/gtest.h>

#include <QFile>
#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace InstallerCore::Artwork {
namespace {

class InstallerIconTest : public testing::TestWithParam<int> {};

TEST_P(InstallerIconTest, HasClearCornersAndAnOpaqueMiddle) {
    const QImage picture = iconPicture(GetParam());
    const int last = GetParam() - 1;
    ASSERT_EQ(picture.size(), QSize(GetParam(), GetParam()));
    for (const QPoint& corner : {QPoint(0, 0), QPoint(last, 0), QPoint(0, last), QPoint(last, last)}) {
        EXPECT_EQ(qAlpha(picture.pixel(corner)), 0);
    }
    EXPECT_EQ(qAlpha(picture.pixel(last / 2, last / 2)), 255);
}

TEST_P(InstallerIconTest, HasWhiteBarsOnItsPurpleAtEverySize) {
    const QImage picture = iconPicture(GetParam());
    int white = 0;
    int purple = 0;
    for (int x = 0; x < picture.width(); ++x) {
        const QRgb pixel = picture.pixel(x, picture.height() * 15 / 32);
        const bool isOpaque = qAlpha(pixel) == 255;
        white += isOpaque && qGreen(pixel) == 255 ? 1 : 0;
        purple += isOpaque && qGreen(pixel) < 130 && qBlue(pixel) > 190 ? 1 : 0;
    }
    EXPECT_GE(white, picture.width() / 8);
    EXPECT_GE(purple, picture.width() / 4);
}

INSTANTIATE_TEST_SUITE_P(Sizes, InstallerIconTest, testing::Values(16, 32, 64, 128, 256, 512, 1024));

class SmallInstallerIconTest : public testing::TestWithParam<int> {};

// Or they would look smeared.
TEST_P(SmallInstallerIconTest, HasItsEdgesOnWholePixels) {
    const auto expectWhole = [](double value) { EXPECT_DOUBLE_EQ(value, std::round(value)); };
    for (const DrawingOperation& operation : installerIcon(GetParam())) {
        if (const auto* bar = std::get_if<FillRoundedRectangle>(&operation)) {
            expectWhole(bar->rectangle.x);
            expectWhole(bar->rectangle.y);
            expectWhole(bar->rectangle.width);
            expectWhole(bar->rectangle.height);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, SmallInstallerIconTest, testing::Values(16, 32));

// The picture of that kind in a file of icons; empty when it has none.
QByteArray picture(const QByteArray& file, const char* kind) {
    const auto lengthAt = [&](qsizetype at) {
        qsizetype length = 0;
        for (const char byte : file.mid(at, 4)) {
            length = length << 8 | static_cast<unsigned char>(byte);
        }
        return length;
    };
    constexpr qsizetype header = 8;
    for (qsizetype at = header; at + header <= file.size(); at += std::max(lengthAt(at + 4), header)) {
        if (file.mid(at, 4) == kind) {
            return file.mid(at + header, lengthAt(at + 4) - header);
        }
    }
    return {};
}

// Or somebody has changed the drawing and not made the file again. Other versions of the toolkit may round
// otherwise.
TEST(InstallerIconFileTest, ShowsWhatIsDrawnToday) {
    QFile file(QStringLiteral(KAVIO_ICON));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray shipped = file.readAll();
    for (const auto& [kind, pixels] :
         {std::pair("ic11", 32), std::pair("ic07", 128), std::pair("ic10", 1024)}) {
        const QImage stored = QImage::fromData(picture(shipped, kind), "PNG");
        const QImage drawn = iconPicture(pixels);
        ASSERT_EQ(stored.size(), drawn.size()) << kind;
        int greatest = 0;
        for (int y = 0; y < pixels; ++y) {
            for (int x = 0; x < pixels; ++x) {
                greatest =
                    std::max(greatest, std::abs(qAlpha(stored.pixel(x, y)) - qAlpha(drawn.pixel(x, y))));
                greatest =
                    std::max(greatest, std::abs(qGreen(stored.pixel(x, y)) - qGreen(drawn.pixel(x, y))));
            }
        }
        EXPECT_LE(greatest, 4) << kind;
    }
}

TEST(InstallerIconFileTest, IsSmall) {
    EXPECT_LT(QFile(QStringLiteral(KAVIO_ICON)).size(), 150'000);
}

} // namespace
} // namespace InstallerCore::Artwork
