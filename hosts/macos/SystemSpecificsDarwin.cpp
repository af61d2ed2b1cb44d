#include "hosts/posix/SystemSpecifics.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace InstallerCore {

int flushToDisk(int descriptor) {
    if (::fcntl(descriptor, F_FULLFSYNC) == 0) {
        return 0;
    }
    // Not every volume knows that: one on a server has no device to be told.
    const bool unknown = errno == ENOTSUP || errno == EINVAL || errno == ENOTTY || errno == EOPNOTSUPP;
    return unknown ? ::fsync(descriptor) : -1;
}

int renameInOneStep(int fromDirectory, const char* from, int toDirectory, const char* to) {
    return ::renameatx_np(fromDirectory, from, toDirectory, to, RENAME_EXCL);
}

timespec modificationTime(const struct stat& status) {
    return status.st_mtimespec;
}

int makeClosingPipe(std::array<int, 2>& ends) {
    if (::pipe(ends.data()) != 0) {
        return -1;
    }
    // A child that another thread starts just now inherits nothing all the same: see closingSpawnFlag().
    for (const int end : ends) {
        if (::fcntl(end, F_SETFD, FD_CLOEXEC) != 0) {
            const int reason = errno;
            ::close(ends[0]);
            ::close(ends[1]);
            errno = reason;
            return -1;
        }
    }
    return 0;
}

int inheritStream(posix_spawn_file_actions_t& actions, int stream) {
    // The flag below closes whatever is not named, and what is named must be open.
    const bool isOpen = ::fcntl(stream, F_GETFD) >= 0;
    return isOpen ? ::posix_spawn_file_actions_addinherit_np(&actions, stream) : 0;
}

int closeAboveStreams(posix_spawn_file_actions_t& /*actions*/) {
    return 0;
}

int closingSpawnFlag() {
    return POSIX_SPAWN_CLOEXEC_DEFAULT;
}

} // namespace InstallerCore
