#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore {

// Which file an image is; other content at the same path is another image.
struct ImageIdentity {
    std::string path; // the real one
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modifiedSeconds = 0;
    std::int64_t modifiedNanoseconds = 0;
    std::int64_t changedSeconds = 0; // which nobody can set back
    std::int64_t changedNanoseconds = 0;

    friend bool operator==(const ImageIdentity&, const ImageIdentity&) = default;
};

[[nodiscard]] ImageIdentity identityOf(std::string path, const struct stat& status);

// A volume's root directory, by its name in the volumes directory and by what it is there. The device is not
// kept: it may have another number after the next start of the machine.
struct MountedVolume {
    std::string name; // where it is, or shall be
    std::string kind; // "hfs" or "apfs"
    std::uint64_t inode = 0;
};

// A disk, a partition or a volume of an attached image.
struct SystemEntity {
    std::string device; // "/dev/disk4s1"; nothing is there under this name
    std::string contentHint;
    std::string unmappedContentHint;
    bool mountable = false;
    std::optional<MountedVolume> volume = std::nullopt;
};

// All that is known of an attached image, as kept between two runs of the tool.
struct MountRecord {
    std::string id;
    unsigned firstDisk = 0; // the numbers of its disks
    unsigned diskCount = 0;
    std::int64_t blockCount = 0; // of 512 bytes
    ImageIdentity image;
    std::vector<SystemEntity> entities;
};

[[nodiscard]] std::string serialize(const MountRecord& record);

// Absent when the text is no record.
[[nodiscard]] std::optional<MountRecord> parseMountRecord(std::string_view text);

} // namespace InstallerCore
