#include "hosts/linux/diskimage/ImageFile.h"

#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/posix/PosixError.h"

#include <sys/stat.h>

#include <cerrno>

namespace InstallerCore {

namespace {

std::int64_t sizeOf(const Descriptor& file) {
    struct stat status{};
    if (::fstat(file.get(), &status) != 0) {
        throwReadError(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw DiskImageError("the disk image is not a regular file");
    }
    return status.st_size;
}

} // namespace

ImageFile::ImageFile(Descriptor file) : file_(std::move(file)), size_(sizeOf(file_)) {}

void ImageFile::read(std::int64_t offset, std::span<std::byte> buffer) const {
    while (!buffer.empty()) {
        const ssize_t count = ::pread(file_.get(), buffer.data(), buffer.size(), offset);
        if (count > 0) {
            buffer = buffer.subspan(static_cast<std::size_t>(count));
            offset += count;
        } else if (count == 0) {
            throw DiskImageError("the disk image became shorter while it was read");
        } else if (errno != EINTR) {
            throwReadError(errno);
        }
    }
}

} // namespace InstallerCore
