#pragma once

#include "hosts/posix/Descriptor.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace InstallerCore {

// The bytes of a disk image. Reading moves no file position, so any thread may read at any time.
class ImageFile {
public:
    // Throws DiskImageError for anything but a regular file.
    explicit ImageFile(Descriptor file);

    // When it was opened, in bytes.
    [[nodiscard]] std::int64_t size() const noexcept { return size_; }

    // Fills the buffer from that offset on. Throws DiskImageError when the file ends before, PlatformError
    // when it cannot be read.
    void read(std::int64_t offset, std::span<std::byte> buffer) const;

    [[nodiscard]] int descriptor() const noexcept { return file_.get(); }

private:
    Descriptor file_;
    std::int64_t size_;
};

} // namespace InstallerCore
