#pragma once

#include "InstallerCore/support/Bytes.h"

#include <set>
#include <string>

namespace InstallerCore {

// The architectures, "arm64" and "x64", for which an executable file has code, from its first bytes: 4096
// hold the longest header that is accepted. Other processors are left out, so the set may be empty. Offsets
// and sizes in the file are never followed. Throws InstallerError. Pure; any thread.
//
// Layouts: mach_header_64 in <mach-o/loader.h>, fat_header and fat_arch in <mach-o/fat.h> of Apple's headers.
[[nodiscard]] std::set<std::string> machOArchitectures(ByteView executable);

} // namespace InstallerCore
