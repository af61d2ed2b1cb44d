#include "hosts/linux/copy/CopyContent.h"

#include "hosts/linux/copy/CopyError.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <vector>

namespace InstallerCore {

namespace {

constexpr off_t statusBlockSize = 512;
constexpr std::size_t bufferSize = std::size_t{256} * 1024;

bool isSame(const struct timespec& one, const struct timespec& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

bool isNotOffered(int error) {
    constexpr std::array errors{EOPNOTSUPP, EXDEV, EINVAL, ENOSYS, ENOTTY, EPERM};
    return std::ranges::find(errors, error) != errors.end();
}

void writeAll(const FileCopy& file, const char* bytes, std::size_t count, off_t offset) {
    while (count > 0) {
        const ssize_t written =
            uninterrupted([&] { return ::pwrite(file.destination.get(), bytes, count, offset); });
        if (written < 0) {
            throwCopyError(file.destinationPath, errno);
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
        offset += written;
    }
}

void copyThroughMemory(const FileCopy& file, off_t begin, off_t end) {
    std::vector<char> buffer(std::min(bufferSize, static_cast<std::size_t>(end - begin)));
    while (begin < end) {
        const std::size_t wanted = std::min(buffer.size(), static_cast<std::size_t>(end - begin));
        const ssize_t count =
            uninterrupted([&] { return ::pread(file.source.get(), buffer.data(), wanted, begin); });
        if (count < 0) {
            throwCopyError(file.sourcePath, errno);
        }
        if (count == 0) {
            throwChanged(file.sourcePath);
        }
        writeAll(file, buffer.data(), static_cast<std::size_t>(count), begin);
        begin += count;
    }
}

} // namespace

bool isUnchanged(const struct stat& before, const struct stat& after) {
    return before.st_dev == after.st_dev && before.st_ino == after.st_ino &&
           before.st_mode == after.st_mode && before.st_size == after.st_size &&
           isSame(before.st_mtim, after.st_mtim) && isSame(before.st_ctim, after.st_ctim);
}

void ContentCopier::copy(const FileCopy& file) {
    const off_t size = file.status.st_size;
    if (size > 0 && !clone(file)) {
        if (file.status.st_blocks < size / statusBlockSize) {
            copySparse(file);
        } else {
            copyRange(file, 0, size);
        }
    }
    struct stat after{};
    if (::fstat(file.source.get(), &after) != 0) {
        throwCopyError(file.sourcePath, errno);
    }
    if (!isUnchanged(file.status, after)) {
        throwChanged(file.sourcePath);
    }
}

bool ContentCopier::clone(const FileCopy& file) {
    if (!clones_) {
        return false;
    }
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg)
    if (uninterrupted([&] { return ::ioctl(file.destination.get(), FICLONE, file.source.get()); }) == 0) {
        return true;
    }
    if (!isNotOffered(errno)) {
        throwCopyError(file.destinationPath, errno);
    }
    clones_ = false;
    return false;
}

// The size comes first, so that a hole at the end is one, too.
void ContentCopier::copySparse(const FileCopy& file) {
    const off_t size = file.status.st_size;
    if (uninterrupted([&] { return ::ftruncate(file.destination.get(), size); }) != 0) {
        throwCopyError(file.destinationPath, errno);
    }
    off_t end = 0;
    while (end < size) {
        const off_t begin = ::lseek(file.source.get(), end, SEEK_DATA);
        if (begin < 0 && errno == ENXIO) {
            return; // nothing but a hole is left
        }
        end = begin < 0 ? -1 : ::lseek(file.source.get(), begin, SEEK_HOLE);
        if (end < 0) {
            throwCopyError(file.sourcePath, errno);
        }
        end = std::min(end, size);
        if (begin < end) {
            copyRange(file, begin, end);
        }
    }
}

void ContentCopier::copyRange(const FileCopy& file, off_t begin, off_t end) {
    begin = copyInKernel(file, begin, end);
    if (begin < end) {
        copyThroughMemory(file, begin, end);
    }
}

// Returns how far it came: not to the end where it is not offered or where the source ends early.
off_t ContentCopier::copyInKernel(const FileCopy& file, off_t begin, off_t end) {
    while (begin < end && kernelCopies_) {
        off_t from = begin;
        off_t to = begin;
        const ssize_t count = uninterrupted([&] {
            return ::copy_file_range(file.source.get(), &from, file.destination.get(), &to,
                                     static_cast<std::size_t>(end - begin), 0);
        });
        if (count < 0) {
            if (!isNotOffered(errno)) {
                throwCopyError(file.destinationPath, errno);
            }
            kernelCopies_ = false;
        } else if (count == 0) {
            break;
        } else {
            begin += count;
        }
    }
    return begin;
}

} // namespace InstallerCore
