#include "hosts/posix/FoldersPosix.h"

#include "hosts/posix/FolderPosix.h"
#include "hosts/posix/PosixError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <limits>

namespace InstallerCore {

std::unique_ptr<Folder> FoldersPosix::open(const std::filesystem::path& path) const {
    Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() < 0) {
        throwReadError(errno);
    }
    return std::make_unique<FolderPosix>(std::move(folder));
}

bool FoldersPosix::exists(const std::filesystem::path& path) const {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0;
}

bool FoldersPosix::isWritable(const std::filesystem::path& path) const {
    return ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

std::optional<std::int64_t> FoldersPosix::availableSpace(const std::filesystem::path& path) const {
    struct statvfs volume{};
    if (::statvfs(path.c_str(), &volume) != 0) {
        throwReadError(errno);
    }
    if (volume.f_blocks == 0) { // a file system that has no blocks to speak of
        return std::nullopt;
    }
    std::int64_t space = 0;
    // More than fits can only mean plenty.
    const bool overflow = __builtin_mul_overflow(volume.f_bavail, volume.f_frsize, &space);
    return overflow ? std::numeric_limits<std::int64_t>::max() : space;
}

} // namespace InstallerCore
