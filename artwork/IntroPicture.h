#pragma once

#include "artwork/IntroWords.h"

#include <QImage>

namespace InstallerCore::Artwork {

// The video's frame of that number, one pixel a point, as the window paints its own picture.
[[nodiscard]] QImage introPicture(int frame, const IntroWords& words);

} // namespace InstallerCore::Artwork
