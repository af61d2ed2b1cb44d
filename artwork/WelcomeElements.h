#pragma once

#include "KavioInstaller/WelcomeView.h"

#include <array>
#include <vector>

namespace InstallerCore::Artwork {

// One page of the welcome picture, taken apart into what moves on its own.
struct WelcomeElements {
    struct Row {
        FillRoundedRectangle square;
        DrawText label;
        std::array<FillRoundedRectangle, 2> lines;
    };

    FillGradient background;
    DrawText name; // the product's
    DrawText title;
    DrawText subtitle;
    FillShadowed card;
    DrawText cardTitle;
    std::vector<FillRoundedRectangle> bars; // of the waveform
    std::vector<Row> rows;

    // Throws std::bad_variant_access or std::out_of_range when the picture is not made as this expects.
    [[nodiscard]] static WelcomeElements of(const WelcomeView& view, Size size);
};

} // namespace InstallerCore::Artwork
