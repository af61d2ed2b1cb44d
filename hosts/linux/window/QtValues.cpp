#include "hosts/linux/window/QtValues.h"

#include <QStringList>
#include <cmath>

namespace InstallerCore {

namespace {

// From here on letters are drawn for their shape, not for being told apart.
constexpr double displaySize = 24;

QStringList families(double size) {
    QStringList names;
    if (size >= displaySize) {
        names << QStringLiteral("Inter Display");
    }
    names << QStringLiteral("Inter") << QStringLiteral("Noto Sans Arabic UI")
          << QStringLiteral("Noto Sans Devanagari UI") << QStringLiteral("Noto Sans Thai UI")
          << QStringLiteral("WenQuanYi Micro Hei");
    return names;
}

QFont::Weight toQt(FontWeight weight) {
    switch (weight) {
    case FontWeight::regular:
        return QFont::Normal;
    case FontWeight::semibold:
        return QFont::DemiBold;
    case FontWeight::bold:
        return QFont::Bold;
    }
    return QFont::Normal;
}

} // namespace

QColor toQt(const Color& color) {
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue), static_cast<float>(color.alpha));
}

QRectF toQt(const Rect& rectangle) {
    return {rectangle.x, rectangle.y, rectangle.width, rectangle.height};
}

QString toQt(const std::string& text) {
    return QString::fromStdString(text);
}

QRect fromBottomLeft(const Rect& frame, double contentHeight) {
    return QRectF(frame.x, contentHeight - frame.y - frame.height, frame.width, frame.height).toRect();
}

QFont toQt(const Font& font) {
    QFont result(families(font.size));
    result.setPixelSize(static_cast<int>(std::lround(font.size)));
    result.setWeight(toQt(font.weight));
    // What a machine's own settings would make differ.
    result.setHintingPreference(QFont::PreferNoHinting);
    result.setStyleStrategy(QFont::NoSubpixelAntialias);
    return result;
}

} // namespace InstallerCore
