#pragma once

#include "hosts/linux/diskimage/PartitionMap.h"
#include "hosts/posix/Descriptor.h"

#include <sys/types.h>

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace InstallerCore {

// 7-Zip, which reads the volumes. It runs as a process of its own that only ever writes to a pipe, so nothing
// on a volume leads it to a place on this disk; without arguments from a shell, without a terminal that could
// ask for a password. Any status but 0 is a DiskImageError.

// All that it tells about a volume, each item with its alternate streams, in the order of SevenZipStream.
[[nodiscard]] std::string listVolume(const std::filesystem::path& volume, VolumeKind kind);

// The content of all items of a volume, one behind the other in the order of the listing: a file's data, a
// link's text, an extended attribute's value.
class SevenZipStream {
public:
    SevenZipStream(const std::filesystem::path& volume, VolumeKind kind);
    SevenZipStream(const SevenZipStream&) = delete;
    SevenZipStream& operator=(const SevenZipStream&) = delete;
    ~SevenZipStream(); // a process that still runs is ended

    // Fills the whole buffer. Throws DiskImageError when there is less.
    void read(std::span<std::byte> buffer);

    // To be called behind the last item. Throws DiskImageError when there is more, or the process failed.
    void finish();

private:
    // What is there, at least a byte of it; 0 at the end.
    [[nodiscard]] std::size_t readSome(std::span<std::byte> buffer);

    friend std::string listVolume(const std::filesystem::path& volume, VolumeKind kind);

    explicit SevenZipStream(const std::vector<std::string>& arguments);
    void waitForEnd();

    Descriptor output_;
    pid_t process_ = -1;
};

} // namespace InstallerCore
