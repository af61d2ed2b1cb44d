#include "hosts/linux/window/IntroWidget.h"

#include "hosts/linux/window/DrawingPainter.h"
#include "hosts/linux/window/VideoPlayer.h"

#include <QPainter>

namespace InstallerCore {

IntroWidget::IntroWidget(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
}

IntroWidget::~IntroWidget() = default;

void IntroWidget::setView(const VideoIntroView& view) {
    if (view == view_) {
        return;
    }
    view_ = view;
    picture_ = {};
    frame_ = {};
    player_.reset();
    if (isVisible()) {
        startVideo();
    }
    update();
}

void IntroWidget::startVideo() {
    if (!view_.video || player_) {
        return;
    }
    player_ = std::make_unique<VideoPlayer>(*view_.video, size() * devicePixelRatioF(),
                                            [this](const QImage& frame) {
                                                picture_ = {}; // not needed any more
                                                frame_ = frame;
                                                update();
                                            });
}

void IntroWidget::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    if (!isVideoReady()) {
        paintFallback(painter);
        return;
    }
    painter.fillRect(rect(), palette().color(backgroundRole()));
    QRectF target(QPointF(), QSizeF(frame_.size()).scaled(size(), Qt::KeepAspectRatio));
    target.moveCenter(QRectF(rect()).center());
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, frame_);
}

void IntroWidget::paintFallback(QPainter& painter) {
    const qreal scale = painter.deviceTransform().m11();
    if (picture_.isNull() || picture_.devicePixelRatio() != scale) {
        picture_ = QPixmap(size() * scale);
        picture_.setDevicePixelRatio(scale);
        QPainter picture(&picture_);
        paint(picture, view_.fallback.draw({.width = 1.0 * width(), .height = 1.0 * height()}));
    }
    painter.drawPixmap(0, 0, picture_);
}

void IntroWidget::showEvent(QShowEvent* /*event*/) {
    startVideo();
}

// Nobody looks: the last frame stays for when it is shown again.
void IntroWidget::hideEvent(QHideEvent* /*event*/) {
    player_.reset();
}

} // namespace InstallerCore
