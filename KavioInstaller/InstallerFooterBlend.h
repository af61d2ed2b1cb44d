#pragma once

#include "KavioInstaller/Drawing.h"

namespace InstallerCore {

// The lower part of the intro fades into the white footer. Never takes a mouse event: hosts let clicks fall
// through to what lies below it.
struct InstallerFooterBlend {
    [[nodiscard]] static Drawing draw(Size size);
};

} // namespace InstallerCore
