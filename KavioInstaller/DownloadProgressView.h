#pragma once

#include "KavioInstaller/Drawing.h"

#include <optional>

namespace InstallerCore {

// The opacity animation that a host lets run on a view while it is there: from the first opacity to the last
// in that time, back again, and so on for ever.
struct ActivityAnimation {
    double fromOpacity = 1;
    double toOpacity = 0.45;
    double seconds = 0.8;

    friend bool operator==(const ActivityAnimation&, const ActivityAnimation&) = default;
};

// What a screen reader is told as the bar's value.
struct ProgressValue {
    std::optional<double> number; // none while nobody knows

    friend bool operator==(const ProgressValue&, const ProgressValue&) = default;
};

struct ProgressDrawing {
    Drawing operations;
    std::optional<ProgressValue> value; // absent: it stays as it was

    friend bool operator==(const ProgressDrawing&, const ProgressDrawing&) = default;
};

// The thin progress bar, as a value. A host shows it as a progress indicator.
struct DownloadProgressView {
    double minValue = 0;
    double maxValue = 100;
    double doubleValue = 0;
    bool isIndeterminate = false;
    std::optional<ActivityAnimation> activity;

    // Nothing happens while it is determinate.
    void startAnimation();

    void removeActivity() { activity.reset(); }

    [[nodiscard]] ProgressDrawing draw(Size size) const;

    friend bool operator==(const DownloadProgressView&, const DownloadProgressView&) = default;
};

} // namespace InstallerCore
