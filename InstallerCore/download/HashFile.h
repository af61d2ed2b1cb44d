#pragma once

#include "InstallerCore/download/Cancellation.h"
#include "InstallerCore/platform/Platform.h"

#include <filesystem>
#include <string>

namespace InstallerCore {

// SHA-512 of the content of the regular file that the path leads to, links followed, as 128 lower-case
// hexadecimal digits. Blocks; memory does not grow with the file. Throws PlatformError.
[[nodiscard]] std::string hashFile(const std::filesystem::path& file,
                                   const Platform& platform = Platform::host());

// The same, given up with the paused error before the next mebibyte once the flag is set.
[[nodiscard]] std::string hashFile(const std::filesystem::path& file, const Cancellation& cancel,
                                   const Platform& platform = Platform::host());

} // namespace InstallerCore
