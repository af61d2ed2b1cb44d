#pragma once

#include "KavioInstaller/Drawing.h"

namespace InstallerCore::Artwork {

// The application's icon for a square of that many pixels, one a point. Below 64 it has fewer details, and
// edges that fall on whole pixels.
[[nodiscard]] Drawing installerIcon(int pixels);

} // namespace InstallerCore::Artwork
