#pragma once

#include <filesystem>

namespace InstallerCore {

// Whether a process other than this one has its working or root directory, its program or an open file at or
// below the path, as far as this user may look into /proc. The path is a real one.
[[nodiscard]] bool isInUse(const std::filesystem::path& path);

} // namespace InstallerCore
