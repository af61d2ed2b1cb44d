#include "hosts/linux/window/DownloadProgressWidget.h"

#include "hosts/linux/window/DrawingPainter.h"
#include "hosts/linux/window/ProgressAccessible.h"

#include <QAccessible>
#include <QPainter>
#include <QTimerEvent>
#include <cmath>

namespace InstallerCore {

namespace {

constexpr int frameMilliseconds = 40; // smooth enough for a slow fade

} // namespace

double opacityAt(const ActivityAnimation& animation, double seconds) {
    const double phase = std::fmod(seconds / animation.seconds, 2.0); // there and back
    const double progress = phase < 1 ? phase : 2 - phase;
    return animation.fromOpacity + (animation.toOpacity - animation.fromOpacity) * progress;
}

DownloadProgressWidget::DownloadProgressWidget(QWidget* parent) : QWidget(parent) {
    ProgressAccessible::install();
}

void DownloadProgressWidget::setView(const DownloadProgressView& view) {
    if (view == view_) {
        return;
    }
    if (view.activity && view.activity != view_.activity) {
        sinceAnimation_.start();
    }
    view_ = view;
    announce();
    updateTimer();
    update();
}

ProgressDrawing DownloadProgressWidget::drawing() const {
    return view_.draw({.width = 1.0 * width(), .height = 1.0 * height()});
}

void DownloadProgressWidget::announce() {
    if (announcements_.take(drawing().value)) {
        const auto value = announcements_.value();
        QAccessibleValueChangeEvent event(this, value ? QVariant(*value) : QVariant());
        QAccessible::updateAccessibility(&event);
    }
}

void DownloadProgressWidget::updateTimer() {
    const bool pulses = view_.activity && isVisible();
    if (!pulses) {
        timer_.stop();
    } else if (!timer_.isActive()) {
        timer_.start(frameMilliseconds, this);
    }
}

void DownloadProgressWidget::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    paint(painter, drawing().operations);
    if (view_.activity) { // the bar as a whole fades into the background
        const double opacity =
            opacityAt(*view_.activity, static_cast<double>(sinceAnimation_.elapsed()) / 1000);
        QColor veil = palette().color(backgroundRole());
        veil.setAlphaF(static_cast<float>(1 - opacity));
        painter.fillRect(rect(), veil);
    }
}

void DownloadProgressWidget::timerEvent(QTimerEvent* event) {
    if (event->timerId() == timer_.timerId()) {
        update();
    }
}

void DownloadProgressWidget::showEvent(QShowEvent* /*event*/) {
    updateTimer();
}

void DownloadProgressWidget::hideEvent(QHideEvent* /*event*/) {
    updateTimer();
}

} // namespace InstallerCore
