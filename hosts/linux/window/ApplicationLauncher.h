#pragma once

#include "InstallerCore/platform/Platform.h"
#include "KavioInstaller/InstallerHost.h"

#include <filesystem>

namespace InstallerCore {

// Opens an application bundle on Linux: starts the executable of the bundle's name in Contents/Linux. A
// bundle without one, as a Mac's applications are, counts as opened: it is in place, and nothing here could
// run it. Any thread; does not throw.
[[nodiscard]] OpenResult launchApplication(const std::filesystem::path& application,
                                           const Platform& platform);

} // namespace InstallerCore
