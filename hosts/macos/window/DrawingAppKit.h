#pragma once

#include "KavioInstaller/Drawing.h"

namespace InstallerCore {

// Carries out the operations in the current graphics context, which is that of a flipped view. Its state is
// as before afterwards.
void drawWithAppKit(const Drawing& drawing);

} // namespace InstallerCore
