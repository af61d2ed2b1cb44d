#include "hosts/linux/diskimage/RawDisk.h"

#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/posix/PosixError.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace InstallerCore {

namespace {

constexpr std::size_t blockSize = 4096; // bytes: what file systems leave out

void checkRoom(int file, std::int64_t size) {
    struct statvfs status{};
    if (::fstatvfs(file, &status) != 0) {
        throwWriteError(errno);
    }
    // In blocks, rounded down: no product that overflows.
    const std::uint64_t blocks = static_cast<std::uint64_t>(size) / status.f_frsize;
    if (blocks >= status.f_bavail) {
        throw DiskImageError("the disk image expands to " + std::to_string(size) +
                             " bytes, which is more than the volume has free");
    }
}

bool isZero(ByteView bytes) {
    return bytes.front() == std::byte{} && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0;
}

void writeAll(int file, std::int64_t offset, ByteView bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::pwrite(file, bytes.data(), bytes.size(), offset);
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
            offset += count;
        } else if (count == 0 || errno != EINTR) {
            throwWriteError(errno);
        }
    }
}

} // namespace

RawDisk::RawDisk(int file, std::int64_t size) : file_(file) {
    if (::ftruncate(file, 0) != 0) {
        throwWriteError(errno);
    }
    checkRoom(file, size);
    if (::ftruncate(file, size) != 0) {
        throwWriteError(errno);
    }
}

void RawDisk::write(std::int64_t offset, ByteView bytes) const {
    std::size_t written = 0; // or left out
    for (std::size_t block = 0; block < bytes.size(); block += blockSize) {
        const std::size_t length = std::min(blockSize, bytes.size() - block);
        if (isZero(bytes.subspan(block, length))) {
            writeAll(file_, offset + static_cast<std::int64_t>(written),
                     bytes.subspan(written, block - written));
            written = block + length;
        }
    }
    writeAll(file_, offset + static_cast<std::int64_t>(written), bytes.subspan(written));
}

} // namespace InstallerCore
