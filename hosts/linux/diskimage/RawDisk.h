#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>

namespace InstallerCore {

// A file that becomes a disk, zeros as holes. The descriptor stays the caller's.
class RawDisk {
public:
    // Makes the file one of that many zeros. Throws DiskImageError when more than the free space would be
    // needed to fill it, PlatformError when it cannot be done.
    RawDisk(int file, std::int64_t size);

    // Any thread, as long as no other one writes the same bytes. Throws PlatformError.
    void write(std::int64_t offset, ByteView bytes) const;

private:
    int file_;
};

} // namespace InstallerCore
