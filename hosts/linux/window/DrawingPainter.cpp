#include "hosts/linux/window/DrawingPainter.h"

#include "hosts/linux/window/BlurredShadow.h"
#include "hosts/linux/window/LaidOutText.h"
#include "hosts/linux/window/QtValues.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace InstallerCore {

namespace {

class DrawingPainter {
public:
    explicit DrawingPainter(QPainter& painter) : painter_(painter) {}

    void operator()(const FillRoundedRectangle& operation) const {
        painter_.setBrush(toQt(operation.color));
        painter_.drawRoundedRect(toQt(operation.rectangle), operation.radius, operation.radius);
    }

    void operator()(const FillGradient& operation) const {
        const QRectF rectangle = toQt(operation.rectangle);
        QLinearGradient gradient(rectangle.topLeft(), rectangle.bottomLeft());
        gradient.setColorAt(0, toQt(operation.top));
        gradient.setColorAt(1, toQt(operation.bottom));
        painter_.fillRect(rectangle, gradient);
    }

    void operator()(const FillShadowed& operation) const {
        const auto shadow = blurredShadow(operation, painter_.deviceTransform().m11());
        painter_.drawImage(shadow.topLeft, shadow.image);
        (*this)(operation.shape);
    }

    void operator()(const DrawText& operation) const {
        const LaidOutText text(toQt(operation.text), {.font = toQt(operation.font), .wraps = true},
                               operation.frame.width);
        painter_.setPen(toQt(operation.color));
        text.draw(painter_, {operation.frame.x, operation.frame.y});
        painter_.setPen(Qt::NoPen);
    }

    void operator()(const BeginClip& operation) const {
        QPainterPath shape;
        shape.addRoundedRect(toQt(operation.rectangle), operation.radius, operation.radius);
        painter_.setClipPath(shape);
    }

    void operator()(const EndClip& /*operation*/) const { painter_.setClipping(false); }

private:
    QPainter& painter_;
};

} // namespace

void paint(QPainter& painter, const Drawing& drawing) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const DrawingPainter backend(painter);
    for (const DrawingOperation& operation : drawing) {
        std::visit(backend, operation);
    }
    painter.restore();
}

} // namespace InstallerCore
