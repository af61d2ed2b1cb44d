#pragma once

#include "KavioInstaller/Drawing.h"

#include <cstddef>

namespace InstallerCore {

// The drawn intro picture: what is seen until the video plays, or instead of it.
struct WelcomeView {
    std::size_t page = 0; // 0, 1 or 2
    Color purple{.red = 0.43, .green = 0.3, .blue = 0.91};

    // Aborts when there is no such page.
    [[nodiscard]] Drawing draw(Size size) const;

    friend bool operator==(const WelcomeView&, const WelcomeView&) = default;
};

} // namespace InstallerCore
