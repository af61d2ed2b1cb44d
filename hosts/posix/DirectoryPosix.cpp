#include "hosts/posix/DirectoryPosix.h"

#include "InstallerCore/support/PlatformError.h"
#include "hosts/posix/EntryNames.h"
#include "hosts/posix/FileHandlePosix.h"
#include "hosts/posix/PosixError.h"
#include "hosts/posix/SystemSpecifics.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>

namespace InstallerCore {

namespace {

constexpr mode_t ownerOnlyFile = 0600;

// What every open of a file has in common: it never waits for a peer, takes a terminal, or reaches a child
// process.
constexpr int guardedOpen = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

class FileLockPosix final : public FileLock {
public:
    explicit FileLockPosix(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

private:
    Descriptor descriptor_; // the lock goes with it
};

std::optional<FileType> typeOf(mode_t mode) {
    if (S_ISREG(mode)) {
        return FileType::regular;
    }
    if (S_ISDIR(mode)) {
        return FileType::directory;
    }
    return S_ISLNK(mode) ? FileType::symbolicLink : FileType::other;
}

WallTime wallTime(const timespec& time) {
    // A file may be dated beyond the three centuries that nanoseconds span; then the nearest time will do.
    using std::chrono::nanoseconds;
    using std::chrono::seconds;
    constexpr auto most = std::chrono::floor<seconds>(nanoseconds::max()) - seconds(1);
    const auto sinceEpoch = std::clamp(seconds(time.tv_sec), -most, most) + nanoseconds(time.tv_nsec);
    return WallTime(std::chrono::duration_cast<WallTime::duration>(sinceEpoch));
}

int flagsFor(FileAccess access) {
    switch (access) {
    case FileAccess::read:
        return O_RDONLY;
    case FileAccess::update:
        return O_RDWR;
    case FileAccess::append:
        return O_WRONLY | O_APPEND;
    }
    std::abort();
}

[[noreturn]] void throwOpenError(FileAccess access, int errorNumber) {
    // A directory, or a socket or FIFO, that took the place since it was looked at.
    if (errorNumber == EISDIR || errorNumber == ENXIO || errorNumber == EOPNOTSUPP) {
        throw PlatformError(FileErrorCode::notRegularFile);
    }
    if (access == FileAccess::read) {
        throwReadError(errorNumber);
    }
    throwWriteError(errorNumber);
}

// For the result of a call that fills in the status.
void requireRegular(int result, const struct stat& status) {
    if (result != 0) {
        throwReadError(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw PlatformError(FileErrorCode::notRegularFile);
    }
}

// Removes the entry unless it was renamed into place.
class TemporaryEntry {
public:
    TemporaryEntry(int directory, std::string name) : directory_(directory), name_(std::move(name)) {}

    TemporaryEntry(const TemporaryEntry&) = delete;
    TemporaryEntry& operator=(const TemporaryEntry&) = delete;

    ~TemporaryEntry() {
        if (!renamed_) {
            ::unlinkat(directory_, name_.c_str(), 0);
        }
    }

    void renameTo(const std::string& name) {
        if (::renameat(directory_, name_.c_str(), directory_, name.c_str()) != 0) {
            throwWriteError(errno);
        }
        renamed_ = true;
    }

private:
    int directory_;
    std::string name_;
    bool renamed_ = false;
};

} // namespace

FileAttributes attributesFrom(const struct stat& status) {
    return {.type = typeOf(status.st_mode),
            .size = status.st_size,
            .modified = wallTime(modificationTime(status))};
}

Descriptor openRegularFile(int directory, const char* path, FileAccess access, Links links) {
    const bool follow = links == Links::followed;
    struct stat status{};
    // Looked at first, because opening a FIFO or a device can already do something to it; and again once it
    // is open.
    requireRegular(::fstatat(directory, path, &status, follow ? 0 : AT_SYMLINK_NOFOLLOW), status);
    const int flags = flagsFor(access) | guardedOpen | (follow ? 0 : O_NOFOLLOW);
    Descriptor file(::openat(directory, path, flags));
    if (file.get() < 0) {
        throwOpenError(access, errno);
    }
    requireRegular(::fstat(file.get(), &status), status);
    return file;
}

std::vector<std::string> DirectoryPosix::names() const {
    auto names = entryNames(descriptor_.get());
    if (!names) {
        throwReadError(errno);
    }
    return std::move(*names);
}

FileAttributes DirectoryPosix::attributes(const std::string& name) const {
    struct stat status{};
    if (::fstatat(descriptor_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        throwReadError(errno);
    }
    return attributesFrom(status);
}

Descriptor DirectoryPosix::createExclusively(const std::string& name) const {
    Descriptor file(
        ::openat(descriptor_.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | guardedOpen, ownerOnlyFile));
    // Whatever the process's mask left of the permissions.
    if (file.get() >= 0) {
        ::fchmod(file.get(), ownerOnlyFile);
    }
    return file;
}

void DirectoryPosix::createIfMissing(const std::string& name) noexcept {
    static_cast<void>(createExclusively(name));
}

std::unique_ptr<FileHandle> DirectoryPosix::open(const std::string& name, FileAccess access) {
    return std::make_unique<FileHandlePosix>(
        openRegularFile(descriptor_.get(), name.c_str(), access, Links::refused));
}

void DirectoryPosix::replace(const std::string& name, ByteView bytes) {
    const std::string temporaryName = (".new-" + name).substr(0, NAME_MAX);
    // What a killed process left; an entry that cannot go is met again below.
    ::unlinkat(descriptor_.get(), temporaryName.c_str(), 0);
    TemporaryEntry entry(descriptor_.get(), temporaryName);
    Descriptor descriptor = createExclusively(temporaryName);
    if (descriptor.get() < 0) {
        throwWriteError(errno);
    }
    FileHandlePosix file(std::move(descriptor));
    file.write(bytes);
    file.synchronize();
    file.close();
    entry.renameTo(name);
    synchronizeEntries();
}

// The rename itself is on the disk only once the directory is. Some file systems have no such step.
void DirectoryPosix::synchronizeEntries() const {
    if (flushToDisk(descriptor_.get()) != 0 && errno != EINVAL) {
        throwWriteError(errno);
    }
}

void DirectoryPosix::remove(const std::string& name) {
    if (::unlinkat(descriptor_.get(), name.c_str(), 0) != 0) {
        throwWriteError(errno);
    }
}

std::unique_ptr<FileLock> DirectoryPosix::lock(const std::string& name) {
    createIfMissing(name);
    Descriptor file = openRegularFile(descriptor_.get(), name.c_str(), FileAccess::update, Links::refused);
    if (::flock(file.get(), LOCK_EX | LOCK_NB) == 0) {
        return std::make_unique<FileLockPosix>(std::move(file));
    }
    if (errno != EWOULDBLOCK) {
        throwWriteError(errno);
    }
    return nullptr;
}

} // namespace InstallerCore
