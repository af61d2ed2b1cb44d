#pragma once

#include <cstdint>

namespace InstallerCore {

// Lengths are points: logical pixels, whatever the density of the screen.

struct Point {
    double x = 0;
    double y = 0;

    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;

    friend bool operator==(const Size&, const Size&) = default;
};

// The origin is the corner that the owner's coordinates begin at: the bottom left in a window, the top left
// in a drawing.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    friend bool operator==(const Rect&, const Rect&) = default;
};

// Calibrated RGB, 0 to 1 each.
struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    [[nodiscard]] static constexpr Color gray(double white, double alpha = 1) {
        return {.red = white, .green = white, .blue = white, .alpha = alpha};
    }

    [[nodiscard]] constexpr Color withAlpha(double value) const {
        return {.red = red, .green = green, .blue = blue, .alpha = value};
    }

    friend bool operator==(const Color&, const Color&) = default;
};

enum class FontWeight : std::uint8_t { regular, semibold, bold };

// The system's font.
struct Font {
    double size = 0; // points
    FontWeight weight = FontWeight::regular;
    bool monospacedDigits = false;

    friend bool operator==(const Font&, const Font&) = default;
};

enum class TextAlignment : std::uint8_t { left, right };

} // namespace InstallerCore
