#include "hosts/linux/window/FooterWidget.h"

#include "KavioInstaller/InstallerFooterBlend.h"
#include "hosts/linux/window/DrawingPainter.h"

#include <QPainter>

namespace InstallerCore {

FooterWidget::FooterWidget(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void FooterWidget::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    paint(painter, InstallerFooterBlend::draw({.width = 1.0 * width(), .height = 1.0 * height()}));
}

} // namespace InstallerCore
