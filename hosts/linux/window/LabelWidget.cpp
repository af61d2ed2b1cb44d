#include "hosts/linux/window/LabelWidget.h"

#include "hosts/linux/window/LaidOutText.h"
#include "hosts/linux/window/QtValues.h"

#include <QPainter>
#include <algorithm>

namespace InstallerCore {

namespace {

// A single line begins at the top of its frame; in a frame of several lines the text is in the middle.
constexpr int blockHeight = 40;

qreal topOf(const LaidOutText& text, const QRect& frame) {
    return frame.height() < blockHeight ? 0 : std::max(0.0, (frame.height() - text.height()) / 2);
}

} // namespace

LabelWidget::LabelWidget(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void LabelWidget::setValue(const TextLabel& label, const QRect& textFrame) {
    if (label == label_ && textFrame == textFrame_) {
        return;
    }
    label_ = label;
    textFrame_ = textFrame;
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
        textFrame_.width());
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    text.draw(painter, {1.0 * textFrame_.left(), topOf(text, textFrame_)});
}

} // namespace InstallerCore
