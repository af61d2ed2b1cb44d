#include "hosts/posix/FolderPosix.h"

#include "hosts/posix/PosixError.h"
#include "hosts/posix/RemoveTree.h"
#include "hosts/posix/RenameExclusively.h"
#include "hosts/posix/SystemSpecifics.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace InstallerCore {

namespace {

constexpr mode_t ownerOnlyDirectory = 0700;

// Some file systems have no such step for directories.
int synchronize(int directory) {
    return flushToDisk(directory) != 0 && errno != EINVAL ? -1 : 0;
}

} // namespace

bool FolderPosix::exists(const std::string& name) const {
    struct stat status{};
    return ::fstatat(descriptor(), name.c_str(), &status, 0) == 0;
}

void FolderPosix::createFolder(const std::string& name) {
    if (::mkdirat(descriptor(), name.c_str(), ownerOnlyDirectory) != 0) {
        throwWriteError(errno);
    }
    // Again, whatever the process's mask left of the permissions.
    const bool complete =
        ::fchmodat(descriptor(), name.c_str(), ownerOnlyDirectory, AT_SYMLINK_NOFOLLOW) == 0 &&
        synchronize(descriptor()) == 0;
    if (!complete) {
        const int error = errno;
        ::unlinkat(descriptor(), name.c_str(), AT_REMOVEDIR);
        throwWriteError(error);
    }
}

std::unique_ptr<Folder> FolderPosix::openFolder(const std::string& name) const {
    Descriptor folder(::openat(descriptor(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (folder.get() < 0) {
        throwReadError(errno);
    }
    return std::make_unique<FolderPosix>(std::move(folder));
}

void FolderPosix::move(const std::string& name, Folder& target, const std::string& newName) {
    const auto& folder = dynamic_cast<FolderPosix&>(target);
    if (renameExclusively(descriptor(), name.c_str(), folder.descriptor(), newName.c_str()) != 0 ||
        synchronize(folder.descriptor()) != 0 || synchronize(descriptor()) != 0) {
        throwWriteError(errno);
    }
}

void FolderPosix::removeTree(const std::string& name) {
    if (InstallerCore::removeTree(descriptor(), name) != 0) {
        throwWriteError(errno);
    }
}

} // namespace InstallerCore
