#include "hosts/posix/FileHandlePosix.h"

#include "hosts/posix/PosixError.h"
#include "hosts/posix/SystemSpecifics.h"

#include <cerrno>

namespace InstallerCore {

std::size_t FileHandlePosix::read(std::span<std::byte> buffer) {
    while (true) {
        const ssize_t count = ::read(descriptor_.get(), buffer.data(), buffer.size());
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR) {
            throwReadError(errno);
        }
    }
}

void FileHandlePosix::write(ByteView bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor_.get(), bytes.data(), bytes.size());
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            throwWriteError(errno);
        }
    }
}

std::int64_t FileHandlePosix::seekToEnd() {
    const off_t end = ::lseek(descriptor_.get(), 0, SEEK_END);
    if (end < 0) {
        throwReadError(errno);
    }
    return end;
}

void FileHandlePosix::truncate(std::int64_t size) {
    if (::ftruncate(descriptor_.get(), size) != 0 || ::lseek(descriptor_.get(), size, SEEK_SET) < 0) {
        throwWriteError(errno);
    }
}

void FileHandlePosix::synchronize() {
    if (flushToDisk(descriptor_.get()) != 0) {
        throwWriteError(errno);
    }
}

void FileHandlePosix::close() {
    // Not tried again when interrupted: the descriptor is gone all the same.
    if (::close(descriptor_.release()) != 0 && errno != EINTR) {
        throwWriteError(errno);
    }
}

} // namespace InstallerCore
