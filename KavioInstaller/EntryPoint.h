#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/support/Bytes.h"

#include <functional>
#include <iosfwd>

namespace InstallerCore {

// What every main does first: decodes the configuration inside the program and hands it to the application,
// whose exit status it returns. When it does not decode, writes one line about it to the error stream and
// returns 1; nothing else has been done then.
int runWithConfiguration(ByteView json, std::ostream& errors,
                         const std::function<int(const Config&)>& application);

// What the installer's main does on each system: as above, and what the application throws is one line to the
// error stream and status 1 too.
int startInstaller(ByteView json, std::ostream& errors, const std::function<int(const Config&)>& application);

} // namespace InstallerCore
