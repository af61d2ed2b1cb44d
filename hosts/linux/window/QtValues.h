#pragma once

#include "KavioInstaller/Geometry.h"

#include <QColor>
#include <QFont>
#include <QRect>
#include <QRectF>
#include <QString>
#include <string>

// The shell's values in Qt's terms. A point is a logical pixel.
namespace InstallerCore {

[[nodiscard]] QColor toQt(const Color& color);
[[nodiscard]] QRectF toQt(const Rect& rectangle);
[[nodiscard]] QString toQt(const std::string& text); // UTF-8

// What is counted from the bottom left of a content of that height, counted from the top left.
[[nodiscard]] QRect fromBottomLeft(const Rect& frame, double contentHeight);

// Inter, and where it has no letters the fonts named in the README, in a fixed order: the window looks the
// same on every machine that has them.
[[nodiscard]] QFont toQt(const Font& font);

} // namespace InstallerCore
