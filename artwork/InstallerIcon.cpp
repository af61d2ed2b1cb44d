#include "artwork/InstallerIcon.h"

#include "KavioInstaller/WelcomeView.h"

#include <array>
#include <span>
#include <utility>

namespace InstallerCore::Artwork {

namespace {

// Lengths below are 1/1024 of the icon's side. The tile's place and its shadow are those that icons of the
// system have.
struct Tile {
    double margin;
    double radius;
    bool hasShadow;
};

// Somebody speaks: bars around a middle line.
struct Waveform {
    double middle;
    double width; // of a bar
    double gap;
    std::span<const double> heights;
};

struct Design {
    Tile tile;
    Waveform waveform;
    bool hasProgress;
};

constexpr std::array tallBars = {120.0, 232.0, 372.0, 284.0, 420.0, 248.0, 140.0};
constexpr std::array fiveBars = {192.0, 384.0, 576.0, 320.0, 192.0}; // even numbers of 32 pixels
constexpr std::array threeBars = {256.0, 512.0, 384.0};              // even numbers of 16 pixels

constexpr Design detailed{
    .tile = {.margin = 100, .radius = 186, .hasShadow = true},
    .waveform = {.middle = 460, .width = 52, .gap = 36, .heights = tallBars},
    .hasProgress = true,
};
constexpr Design plain{
    .tile = {.margin = 64, .radius = 204, .hasShadow = false},
    .waveform = {.middle = 512, .width = 64, .gap = 64, .heights = fiveBars},
    .hasProgress = false,
};
constexpr Design plainest{
    .tile = {.margin = 64, .radius = 204, .hasShadow = false},
    .waveform = {.middle = 512, .width = 128, .gap = 64, .heights = threeBars},
    .hasProgress = false,
};

constexpr double side = 1024;
constexpr Color white = Color::gray(1);

const Design& designFor(int pixels) {
    constexpr int smallest = 16;
    constexpr int firstDetailed = 64;
    if (pixels >= firstDetailed) {
        return detailed;
    }
    return pixels > smallest ? plain : plainest;
}

class Pencil {
public:
    explicit Pencil(int pixels) : scale_(pixels / side) {}

    void addTile(const Tile& tile) {
        constexpr Color top{.red = 0.62, .green = 0.5, .blue = 1};
        constexpr Color shadow = Color::gray(0, 0.3);
        const double width = side - 2 * tile.margin;
        const FillRoundedRectangle shape = scaled(
            {.x = tile.margin, .y = tile.margin, .width = width, .height = width}, tile.radius, bottom());
        if (tile.hasShadow) {
            drawing_.emplace_back(FillShadowed{.shape = shape,
                                               .shadow = shadow,
                                               .blurRadius = 28 * scale_,
                                               .offset = {.x = 0, .y = 12 * scale_}});
        }
        drawing_.emplace_back(BeginClip{.rectangle = shape.rectangle, .radius = shape.radius});
        drawing_.emplace_back(FillGradient{.rectangle = shape.rectangle, .top = top, .bottom = bottom()});
        drawing_.emplace_back(EndClip{});
    }

    void addWaveform(const Waveform& waveform) {
        const auto count = static_cast<double>(waveform.heights.size());
        double x = (side - count * waveform.width - (count - 1) * waveform.gap) / 2;
        for (const double height : waveform.heights) {
            drawing_.emplace_back(
                scaled({.x = x, .y = waveform.middle - height / 2, .width = waveform.width, .height = height},
                       waveform.width / 2, white));
            x += waveform.width + waveform.gap;
        }
    }

    // As in the window: so much of it is done.
    void addProgress() {
        constexpr Rect track{.x = 222, .y = 744, .width = 580, .height = 44};
        constexpr double done = 372;
        constexpr double radius = track.height / 2;
        drawing_.emplace_back(scaled(track, radius, white.withAlpha(0.28)));
        drawing_.emplace_back(
            scaled({.x = track.x, .y = track.y, .width = done, .height = track.height}, radius, white));
    }

    [[nodiscard]] Drawing take() { return std::move(drawing_); }

private:
    // Darker than the product's purple, so that the tile as a whole has its tone.
    static Color bottom() {
        const Color purple = WelcomeView().purple;
        constexpr double shade = 0.86;
        return {.red = purple.red * shade, .green = purple.green * shade, .blue = purple.blue * shade};
    }

    [[nodiscard]] FillRoundedRectangle scaled(Rect rectangle, double radius, Color color) const {
        return {.rectangle = {.x = rectangle.x * scale_,
                              .y = rectangle.y * scale_,
                              .width = rectangle.width * scale_,
                              .height = rectangle.height * scale_},
                .radius = radius * scale_,
                .color = color};
    }

    double scale_;
    Drawing drawing_;
};

} // namespace

Drawing installerIcon(int pixels) {
    const Design& design = designFor(pixels);
    Pencil pencil(pixels);
    pencil.addTile(design.tile);
    pencil.addWaveform(design.waveform);
    if (design.hasProgress) {
        pencil.addProgress();
    }
    return pencil.take();
}

} // namespace InstallerCore::Artwork
