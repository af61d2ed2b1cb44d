#pragma once

#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/Platform.h"

#include <filesystem>
#include <memory>

namespace InstallerCore {

// The lock "installer.lock" in the cache directory: one installer at a time. Held while the result lives; the
// file itself stays. Throws InstallerError "Another Kavio installer is already running" when it cannot be
// opened or taken.
[[nodiscard]] std::unique_ptr<FileLock> takeInstanceLock(const std::filesystem::path& cache,
                                                         const Platform& platform = Platform::host());

} // namespace InstallerCore
