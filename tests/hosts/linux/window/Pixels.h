#pragma once

#include "KavioInstaller/Drawing.h"

#include <gtest/gtest.h>

#include <QImage>

class QWidget;

namespace InstallerCore::Testing {

// What was painted, at that many device pixels a point.
[[nodiscard]] QImage paintedDrawing(const Drawing& drawing, Size size, int scale);
[[nodiscard]] QImage paintedWidget(QWidget& widget, int scale);

// The colour at a place given in points, the origin at the top left: within one step of 255 in each part.
[[nodiscard]] testing::AssertionResult hasColor(const QImage& image, double x, double y, const Color& color);

} // namespace InstallerCore::Testing
