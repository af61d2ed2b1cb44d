#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/platform/Platform.h"

namespace InstallerCore {

// Runs the installer in a window until it ends, and then the process with it, whatever still runs in the
// background. The platform must live as long as the process.
[[noreturn]] void runInstaller(const Config& config, const Platform& platform);

} // namespace InstallerCore
