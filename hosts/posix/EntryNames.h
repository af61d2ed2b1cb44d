#pragma once

#include <optional>
#include <string>
#include <vector>

namespace InstallerCore {

// The direct entries of the directory in the order of the file system, hidden ones included, "." and ".."
// left out. Absent, with errno, when it cannot be read.
[[nodiscard]] std::optional<std::vector<std::string>> entryNames(int directory);

} // namespace InstallerCore
