#include "hosts/linux/window/BlurredShadow.h"

#include "hosts/linux/window/QtValues.h"

#include <QPainter>
#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace InstallerCore {

namespace {

// Three running means of this width, one after another, are close to a Gaussian whose standard deviation is
// half the blur radius.
constexpr int passes = 3;

int meanReach(double blurRadius, qreal scale) {
    return static_cast<int>(std::lround(blurRadius * scale / 2));
}

using Line = std::vector<float>;

// Each value becomes the mean of the values up to that far away from it.
void runningMean(Line& line, Line& sums, int reach) {
    const int size = static_cast<int>(line.size());
    sums.assign(line.size() + 1, 0);
    for (std::size_t at = 0; at < line.size(); ++at) {
        sums[at + 1] = sums[at] + line[at];
    }
    const auto width = static_cast<float>(2 * reach + 1);
    for (int at = 0; at < size; ++at) {
        const auto begin = static_cast<std::size_t>(std::max(at - reach, 0));
        const auto end = static_cast<std::size_t>(std::min(at + reach + 1, size));
        line[static_cast<std::size_t>(at)] = (sums[end] - sums[begin]) / width;
    }
}

// Along the rows; the result is turned, so that a second time blurs along the columns and turns it back.
QImage blurredAndTurned(const QImage& mask, int reach) {
    QImage turned(mask.height(), mask.width(), QImage::Format_Alpha8);
    Line line(static_cast<std::size_t>(mask.width()));
    Line sums;
    for (int y = 0; y < mask.height(); ++y) {
        std::copy_n(mask.constScanLine(y), mask.width(), line.begin());
        for (int pass = 0; pass < passes; ++pass) {
            runningMean(line, sums, reach);
        }
        for (int x = 0; x < mask.width(); ++x) {
            turned.scanLine(x)[y] = static_cast<uchar>(std::lround(line[static_cast<std::size_t>(x)]));
        }
    }
    return turned;
}

// The color, as opaque as the mask says.
QImage colored(const QImage& mask, const QColor& color) {
    std::array<QRgb, 256> shades{};
    for (std::size_t opacity = 0; opacity < shades.size(); ++opacity) {
        const double alpha = color.alpha() * static_cast<double>(opacity) / 255;
        shades.at(opacity) = qPremultiply(
            qRgba(color.red(), color.green(), color.blue(), static_cast<int>(std::lround(alpha))));
    }
    QImage image(mask.size(), QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < mask.height(); ++y) {
        const uchar* from = mask.constScanLine(y);
        std::transform(from, from + mask.width(), reinterpret_cast<QRgb*>(image.scanLine(y)),
                       [&](uchar opacity) { return shades.at(opacity); });
    }
    return image;
}

} // namespace

BlurredShadow blurredShadow(const FillShadowed& shadowed, qreal scale) {
    const int reach = std::max(meanReach(shadowed.blurRadius, scale) / 2, 1);
    const int margin = passes * reach;
    const QRectF shape = toQt(shadowed.shape.rectangle);
    QImage mask(static_cast<int>(std::ceil(shape.width() * scale)) + 2 * margin,
                static_cast<int>(std::ceil(shape.height() * scale)) + 2 * margin, QImage::Format_Alpha8);
    mask.fill(0);
    {
        QPainter painter(&mask);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::black);
        painter.translate(margin, margin);
        painter.scale(scale, scale);
        painter.drawRoundedRect(QRectF({}, shape.size()), shadowed.shape.radius, shadowed.shape.radius);
    }
    mask = blurredAndTurned(blurredAndTurned(mask, reach), reach);
    QImage image = colored(mask, toQt(shadowed.shadow));
    image.setDevicePixelRatio(scale);
    const QPointF offset(shadowed.offset.x - margin / scale, shadowed.offset.y - margin / scale);
    return {.image = std::move(image), .topLeft = shape.topLeft() + offset};
}

} // namespace InstallerCore
