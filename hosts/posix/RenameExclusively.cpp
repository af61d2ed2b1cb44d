#include "hosts/posix/RenameExclusively.h"

#include "hosts/posix/SystemSpecifics.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

namespace InstallerCore {

namespace {

int lookAndRename(int fromDirectory, const char* from, int toDirectory, const char* to) {
    struct stat status{};
    if (::fstatat(toDirectory, to, &status, AT_SYMLINK_NOFOLLOW) == 0) {
        errno = EEXIST;
        return -1;
    }
    return errno == ENOENT ? ::renameat(fromDirectory, from, toDirectory, to) : -1;
}

} // namespace

int renameExclusively(int fromDirectory, const char* from, int toDirectory, const char* to) {
    const int result = renameInOneStep(fromDirectory, from, toDirectory, to);
    const bool unsupported = result != 0 && (errno == EINVAL || errno == ENOTSUP || errno == ENOSYS);
    return unsupported ? lookAndRename(fromDirectory, from, toDirectory, to) : result;
}

} // namespace InstallerCore
