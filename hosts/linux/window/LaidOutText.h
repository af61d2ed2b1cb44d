#pragma once

#include <QFont>
#include <QPointF>
#include <QString>
#include <QTextLayout>

class QPainter;

namespace InstallerCore {

// A text broken into lines, as it is drawn and as it is measured. Lines begin at the top.
class LaidOutText {
public:
    struct Style {
        QFont font;
        bool monospacedDigits = false;
        bool wraps = false;
        Qt::LayoutDirection direction = Qt::LeftToRight; // the base direction of writing
        Qt::AlignmentFlag alignment = Qt::AlignLeft;     // left is left in either direction
    };

    LaidOutText(QString text, const Style& style, qreal width);

    [[nodiscard]] int lineCount() const { return layout_.lineCount(); }

    [[nodiscard]] qreal height() const { return height_; }

    // From the left edge of the line that begins first to the right edge of the one that ends last.
    [[nodiscard]] QRectF bounds() const;

    // Some character is in none of the fonts.
    [[nodiscard]] bool hasMissingLetters() const;

    // Where the character of that index begins.
    [[nodiscard]] qreal x(int index) const { return layout_.lineForTextPosition(index).cursorToX(index); }

    // In the painter's pen, the top left corner at that point.
    void draw(QPainter& painter, QPointF at) const { layout_.draw(&painter, at); }

private:
    QTextLayout layout_;
    qreal height_ = 0;
};

} // namespace InstallerCore
