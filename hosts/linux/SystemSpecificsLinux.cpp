#include "hosts/posix/SystemSpecifics.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace InstallerCore {

int flushToDisk(int descriptor) {
    return ::fsync(descriptor);
}

int renameInOneStep(int fromDirectory, const char* from, int toDirectory, const char* to) {
    return ::renameat2(fromDirectory, from, toDirectory, to, RENAME_NOREPLACE);
}

timespec modificationTime(const struct stat& status) {
    return status.st_mtim;
}

int makeClosingPipe(std::array<int, 2>& ends) {
    return ::pipe2(ends.data(), O_CLOEXEC);
}

int inheritStream(posix_spawn_file_actions_t& /*actions*/, int /*stream*/) {
    return 0; // which it does by itself
}

int closeAboveStreams(posix_spawn_file_actions_t& actions) {
    return ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
}

int closingSpawnFlag() {
    return 0;
}

} // namespace InstallerCore
