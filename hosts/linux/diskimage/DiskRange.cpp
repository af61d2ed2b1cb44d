#include "hosts/linux/diskimage/DiskRange.h"

#include "hosts/linux/diskimage/DiskFailure.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace InstallerCore {

namespace {

bool isNotOffered(int error) {
    return error == ENOSYS || error == EINVAL || error == EOPNOTSUPP || error == EXDEV;
}

// Through memory. Returns how much that was.
off_t copyPiece(int disk, off_t data, off_t end, int target, off_t to) {
    constexpr off_t pieceSize = off_t{1} << 20U;
    const Bytes piece = readDisk(disk, data, static_cast<std::size_t>(std::min(end - data, pieceSize)));
    const ssize_t written = ::pwrite(target, piece.data(), piece.size(), to);
    if (written < 0 && errno != EINTR) {
        throwDiskFailure("the decoded disk cannot be copied", errno);
    }
    return std::max<off_t>(written, 0);
}

// The bytes of the disk from `data` to `end`, to a file that stands for the disk from `start` on.
void copyData(int disk, off_t start, off_t data, off_t end, int target) {
    while (data < end) {
        off_t to = data - start;
        const ssize_t copied =
            ::copy_file_range(disk, &data, target, &to, static_cast<std::size_t>(end - data), 0);
        if (copied < 0 && isNotOffered(errno)) {
            data += copyPiece(disk, data, end, target, to);
            continue;
        }
        if (copied < 0 && errno != EINTR) {
            throwDiskFailure("the decoded disk cannot be copied", errno);
        }
        if (copied == 0) {
            throw DiskImageError("the disk ends too early");
        }
    }
}

} // namespace

Bytes readDisk(int disk, std::int64_t offset, std::size_t size) {
    Bytes bytes(size);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count =
            ::pread(disk, bytes.data() + done, size - done, offset + static_cast<off_t>(done));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throwDiskFailure("the decoded disk cannot be read", errno);
        }
        if (count == 0) {
            throw DiskImageError("the disk ends too early");
        }
        done += static_cast<std::size_t>(count);
    }
    return bytes;
}

std::int64_t sizeOfDisk(int disk) {
    struct stat status{};
    if (::fstat(disk, &status) != 0) {
        throwDiskFailure("the decoded disk cannot be read", errno);
    }
    return status.st_size;
}

void copyDiskRange(int disk, std::int64_t offset, std::int64_t size, int target) {
    const off_t end = offset + size;
    if (::ftruncate(target, size) != 0) {
        throwDiskFailure("the decoded disk cannot be copied", errno);
    }
    for (off_t position = offset; position < end;) {
        const off_t data = ::lseek(disk, position, SEEK_DATA);
        if (data < 0 && errno == ENXIO) {
            return; // nothing but a hole is left
        }
        // A file system that knows nothing of holes has one piece of data.
        const off_t begin = data < 0 ? position : std::min<off_t>(data, end);
        const off_t hole = data < 0 ? end : ::lseek(disk, begin, SEEK_HOLE);
        position = hole < 0 ? end : std::min<off_t>(hole, end);
        copyData(disk, offset, begin, position, target);
    }
}

} // namespace InstallerCore
