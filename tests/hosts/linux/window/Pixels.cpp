#include "tests/hosts/linux/window/Pixels.h"

#include "hosts/linux/window/DrawingPainter.h"
#include "hosts/linux/window/QtValues.h"

#include <QPainter>
#include <QWidget>
#include <cmath>
#include <cstdlib>

namespace InstallerCore::Testing {

namespace {

QImage whiteImage(QSize points, int scale) {
    QImage image(points * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::white);
    return image;
}

} // namespace

QImage paintedDrawing(const Drawing& drawing, Size size, int scale) {
    QImage image = whiteImage(QSizeF(size.width, size.height).toSize(), scale);
    QPainter painter(&image);
    paint(painter, drawing);
    return image;
}

QImage paintedWidget(QWidget& widget, int scale) {
    QImage image = whiteImage(widget.size(), scale);
    widget.render(&image);
    return image;
}

testing::AssertionResult hasColor(const QImage& image, double x, double y, const Color& color) {
    const qreal scale = image.devicePixelRatio();
    const QColor found =
        image.pixelColor(static_cast<int>(std::floor(x * scale)), static_cast<int>(std::floor(y * scale)));
    const QColor expected = toQt(color);
    const bool isClose = std::abs(found.red() - expected.red()) <= 1 &&
                         std::abs(found.green() - expected.green()) <= 1 &&
                         std::abs(found.blue() - expected.blue()) <= 1;
    if (isClose) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "at " << x << ", " << y << " is " << found.name().toStdString()
                                       << ", not " << expected.name().toStdString();
}

} // namespace InstallerCore::Testing
