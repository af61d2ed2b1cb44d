#pragma once

#include "KavioInstaller/Drawing.h"

#include <QImage>
#include <QPointF>

namespace InstallerCore {

// The shadow alone, ready to be drawn below its shape.
struct BlurredShadow {
    QImage image; // its device pixel ratio is the scale
    QPointF topLeft;
};

// Takes milliseconds: for pictures that are kept. The scale is in device pixels a point.
[[nodiscard]] BlurredShadow blurredShadow(const FillShadowed& shadowed, qreal scale);

} // namespace InstallerCore
