#include "hosts/linux/window/LabelWidget.h"

#include "hosts/linux/window/LaidOutText.h"
#include "hosts/linux/window/QtValues.h"

#include <QPainter>
#include <algorithm>

namespace InstallerCore {

LabelWidget::LabelWidget(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void LabelWidget::setValue(const TextLabel& label, double textWidth) {
    if (label == label_ && textWidth == textWidth_) {
        return;
    }
    label_ = label;
    textWidth_ = textWidth;
    setText(toQt(label.text));
    setFont(toQt(label.font));
    setWordWrap(label.wraps);
    setLayoutDirection(label.isRightToLeft ? Qt::RightToLeft : Qt::LeftToRight);
    setAlignment(Qt::AlignAbsolute | Qt::AlignTop |
                 (label.alignment == TextAlignment::right ? Qt::AlignRight : Qt::AlignLeft));
    update();
}

void LabelWidget::paintEvent(QPaintEvent* /*event*/) {
    const LaidOutText text(
        this->text(),
        {.font = font(),
         .monospacedDigits = label_.font.monospacedDigits,
         .wraps = label_.wraps,
         .direction = layoutDirection(),
         .alignment = label_.alignment == TextAlignment::right ? Qt::AlignRight : Qt::AlignLeft},
        textWidth_);
    const qreal top = label_.isInMiddle ? std::max(0.0, (height() - text.height()) / 2) : 0;
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    text.draw(painter, {0, top});
}

} // namespace InstallerCore
