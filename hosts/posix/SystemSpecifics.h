#pragma once

#include <spawn.h>
#include <sys/stat.h>

#include <array>
#include <ctime>

// Where Linux and macOS part: one body for each, of which the build takes one.
namespace InstallerCore {

// fsync() that returns when the device itself has the content, not only been sent it. 0, or -1 with errno.
[[nodiscard]] int flushToDisk(int descriptor);

// renameat() that fails with EEXIST rather than replace anything, in one step. 0, or -1 with errno: EINVAL,
// ENOTSUP or ENOSYS where the file system cannot promise that.
[[nodiscard]] int renameInOneStep(int fromDirectory, const char* from, int toDirectory, const char* to);

[[nodiscard]] timespec modificationTime(const struct stat& status);

// Both ends are closed in every child. 0, or -1 with errno.
[[nodiscard]] int makeClosingPipe(std::array<int, 2>& ends);

// The child gets the standard stream of that number as this process has it, which may be none. 0, or an error
// number.
[[nodiscard]] int inheritStream(posix_spawn_file_actions_t& actions, int stream);

// The child gets no descriptor but its standard streams: the last of the actions, and a flag. Ours are all
// closed by their own flag; a library's may not be. 0, or an error number.
[[nodiscard]] int closeAboveStreams(posix_spawn_file_actions_t& actions);
[[nodiscard]] int closingSpawnFlag();

} // namespace InstallerCore
