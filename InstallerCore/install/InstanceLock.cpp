#include "InstallerCore/install/InstanceLock.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/PlatformError.h"

namespace InstallerCore {

std::unique_ptr<FileLock> takeInstanceLock(const std::filesystem::path& cache, const Platform& platform) {
    std::unique_ptr<FileLock> lock;
    try {
        lock = platform.files.openDirectory(cache)->lock("installer.lock");
    } catch (const PlatformError&) {
        throw InstallerError::message(ErrorText::alreadyRunning);
    }
    require(lock != nullptr, ErrorText::alreadyRunning);
    return lock;
}

} // namespace InstallerCore
