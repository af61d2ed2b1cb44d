#include "KavioInstaller/DownloadProgressView.h"

namespace InstallerCore {

namespace {

constexpr double radius = 4;
constexpr Color track{.red = 0.9, .green = 0.93, .blue = 0.96};
constexpr Color accent{.red = 0.04, .green = 0.48, .blue = 1};

// How much of the track is filled; absent when nothing is, a value that is no number included.
std::optional<double> fillFraction(const DownloadProgressView& view) {
    if (view.isIndeterminate) {
        return 1;
    }
    double fraction = view.doubleValue - view.minValue;
    const double range = view.maxValue - view.minValue;
    if (range >= 1) {
        fraction /= range;
    }
    if (!(fraction > 0)) {
        return std::nullopt;
    }
    return fraction < 1 ? fraction : 1;
}

} // namespace

void DownloadProgressView::startAnimation() {
    if (isIndeterminate) {
        activity = ActivityAnimation();
    }
}

ProgressDrawing DownloadProgressView::draw(Size size) const {
    const Rect bounds{.x = 0, .y = 0, .width = size.width, .height = size.height};
    ProgressDrawing drawing;
    drawing.operations.emplace_back(
        FillRoundedRectangle{.rectangle = bounds, .radius = radius, .color = track});
    const auto fraction = fillFraction(*this);
    if (!fraction) {
        return drawing;
    }
    Rect filled = bounds;
    filled.width *= *fraction;
    drawing.operations.emplace_back(BeginClip{.rectangle = bounds, .radius = radius});
    drawing.operations.emplace_back(FillRoundedRectangle{.rectangle = filled, .radius = 0, .color = accent});
    drawing.operations.emplace_back(EndClip());
    drawing.value = ProgressValue{.number = isIndeterminate ? std::nullopt : std::optional(doubleValue)};
    return drawing;
}

} // namespace InstallerCore
