#pragma once

#include "KavioInstaller/Geometry.h"

#include <string>
#include <variant>
#include <vector>

namespace InstallerCore {

// What a backend has to be able to draw. The origin is the top left of the view and y grows downward; all
// lengths are points. A backend that lacks a kind does not compile.

struct FillRoundedRectangle {
    Rect rectangle;
    double radius = 0;
    Color color;

    friend bool operator==(const FillRoundedRectangle&, const FillRoundedRectangle&) = default;
};

// From the top edge to the bottom edge.
struct FillGradient {
    Rect rectangle;
    Color top;
    Color bottom;

    friend bool operator==(const FillGradient&, const FillGradient&) = default;
};

// A rounded rectangle that casts a shadow: the same shape, blurred over that radius and moved by the offset.
struct FillShadowed {
    FillRoundedRectangle shape;
    Color shadow;
    double blurRadius = 0;
    Point offset; // positive y falls down

    friend bool operator==(const FillShadowed&, const FillShadowed&) = default;
};

// Left-aligned from the top left of the frame, wrapped at its right edge and at line feeds.
struct DrawText {
    std::string text; // UTF-8
    Rect frame;
    Font font;
    Color color;

    friend bool operator==(const DrawText&, const DrawText&) = default;
};

// What follows is cut off outside of the shape, until the end of the clip. Clips do not nest.
struct BeginClip {
    Rect rectangle;
    double radius = 0;

    friend bool operator==(const BeginClip&, const BeginClip&) = default;
};

struct EndClip {
    friend bool operator==(const EndClip&, const EndClip&) = default;
};

using DrawingOperation =
    std::variant<FillRoundedRectangle, FillGradient, FillShadowed, DrawText, BeginClip, EndClip>;
using Drawing = std::vector<DrawingOperation>;

} // namespace InstallerCore
