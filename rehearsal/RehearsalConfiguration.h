#pragma once

#include "InstallerCore/support/Bytes.h"

#include <filesystem>

namespace InstallerCore::Rehearsal {

// The configuration of a rehearsal as JSON: that in the file, or, for an empty path, the one inside the
// program. The name of the installer's cache stays the one that is compiled in. Whether it decodes is for the
// caller to find out. Throws std::runtime_error.
[[nodiscard]] Bytes rehearsedConfiguration(const std::filesystem::path& file);

} // namespace InstallerCore::Rehearsal
