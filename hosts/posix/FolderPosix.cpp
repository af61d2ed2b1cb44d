#include "hosts/posix/FolderPosix.h"

#include "hosts/posix/PosixError.h"
#include "hosts/posix/RemoveTree.h"
#include "hosts/posix/RenameExclusively.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace InstallerCore {

namespace {

constexpr mode_t ownerOnlyDirectory = 0700;

} // namespace

bool FolderPosix::exists(const std::string& name) const {
    struct stat status{};
    return ::fstatat(descriptor(), name.c_str(), &status, 0) == 0;
}

void FolderPosix::createFolder(const std::string& name) {
    // Twice, whatever the process's mask left of the permissions.
    if (::mkdirat(descriptor(), name.c_str(), ownerOnlyDirectory) != 0 ||
        ::fchmodat(descriptor(), name.c_str(), ownerOnlyDirectory, AT_SYMLINK_NOFOLLOW) != 0) {
        throwWriteError(errno);
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
    if (renameExclusively(descriptor(), name.c_str(), folder.descriptor(), newName.c_str()) != 0) {
        throwWriteError(errno);
    }
}

void FolderPosix::removeTree(const std::string& name) {
    if (InstallerCore::removeTree(descriptor(), name) != 0) {
        throwWriteError(errno);
    }
}

} // namespace InstallerCore
