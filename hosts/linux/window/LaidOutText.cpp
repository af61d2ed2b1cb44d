#include "hosts/linux/window/LaidOutText.h"

#include <QFontMetricsF>
#include <QGlyphRun>
#include <QTextOption>
#include <algorithm>
#include <utility>
#include <vector>

namespace InstallerCore {

namespace {

constexpr quint32 notDefined = 0; // the glyph that fonts show for want of one

// How much narrower the text's digits are than the widest one of their font.
std::vector<qreal> shortfalls(const QString& text, const QFontMetricsF& metrics) {
    std::vector<qreal> result(static_cast<std::size_t>(text.size()), 0);
    for (qsizetype at = 0; at < text.size(); ++at) {
        const QChar character = text.at(at);
        if (!character.isDigit()) {
            continue;
        }
        const auto zero = static_cast<char16_t>(character.unicode() - character.digitValue());
        qreal widest = 0;
        for (char16_t digit = zero; digit < zero + 10; ++digit) {
            widest = std::max(widest, metrics.horizontalAdvance(QChar(digit)));
        }
        result.at(static_cast<std::size_t>(at)) = widest - metrics.horizontalAdvance(character);
    }
    return result;
}

// Digits of one width: what a digit lacks of it is put half before it, half behind it. (The font's own
// feature for this cannot be switched on before Qt 6.7.)
QList<QTextLayout::FormatRange> monospacedDigits(const QString& text, const QFont& font) {
    const auto lacking = shortfalls(text, QFontMetricsF(font));
    QList<QTextLayout::FormatRange> formats;
    for (std::size_t at = 0; at < lacking.size(); ++at) {
        const qreal next = at + 1 < lacking.size() ? lacking.at(at + 1) : 0;
        QTextLayout::FormatRange range;
        range.start = static_cast<int>(at);
        range.length = 1;
        range.format.setFontLetterSpacingType(QFont::AbsoluteSpacing);
        range.format.setFontLetterSpacing((lacking.at(at) + next) / 2);
        formats.append(range);
    }
    return formats;
}

QTextOption optionOf(const LaidOutText::Style& style) {
    QTextOption option;
    option.setWrapMode(style.wraps ? QTextOption::WrapAtWordBoundaryOrAnywhere : QTextOption::NoWrap);
    option.setTextDirection(style.direction);
    option.setAlignment(style.alignment | Qt::AlignAbsolute);
    return option;
}

} // namespace

LaidOutText::LaidOutText(QString text, const Style& style, qreal width) {
    text.replace(QLatin1Char('\n'), QChar(QChar::LineSeparator));
    if (style.monospacedDigits) {
        layout_.setFormats(monospacedDigits(text, style.font));
    }
    layout_.setFont(style.font);
    layout_.setTextOption(optionOf(style));
    layout_.setText(text);
    layout_.setCacheEnabled(true);
    layout_.beginLayout();
    for (QTextLine line = layout_.createLine(); line.isValid(); line = layout_.createLine()) {
        line.setLineWidth(width);
        line.setPosition({0, height_});
        height_ += line.height();
    }
    layout_.endLayout();
}

bool LaidOutText::hasMissingLetters() const {
    const QList<QGlyphRun> runs = layout_.glyphRuns();
    return std::any_of(runs.begin(), runs.end(),
                       [](const QGlyphRun& run) { return run.glyphIndexes().contains(notDefined); });
}

QRectF LaidOutText::bounds() const {
    QRectF result;
    for (int index = 0; index < layout_.lineCount(); ++index) {
        result |= layout_.lineAt(index).naturalTextRect();
    }
    return result;
}

} // namespace InstallerCore
