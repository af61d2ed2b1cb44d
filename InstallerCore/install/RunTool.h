#pragma once

#include "InstallerCore/platform/Platform.h"
#include "InstallerCore/support/Bytes.h"

#include <string>
#include <vector>

namespace InstallerCore {

// Runs a tool of the system by its absolute path and returns its standard output; its diagnostics go to our
// own standard error. Blocks until it has ended, without a limit. A status other than 0, or a signal, throws
// InstallerError with the tool's name and that number; a tool that cannot be started a PlatformError. Any
// thread.
Bytes run(const std::string& executable, const std::vector<std::string>& arguments,
          const Platform& platform = Platform::host());

} // namespace InstallerCore
