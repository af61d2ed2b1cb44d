#pragma once

#include "InstallerCore/platform/Files.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace InstallerCore {

// The cache file that a download fills, with its validator (the server's entity tag) in a sidecar of the same
// name and ".etag". Both stay on disk when the object goes: that is what makes the next download a resume.
// One thread at a time. Failures of the file system are PlatformErrors.
class PartialFile {
public:
    // Makes the file when nothing has its name, and empties one that is larger than the complete file.
    // Throws InstallerError "Unsafe cache file" when anything but a regular file is in the place.
    PartialFile(Files& files, const std::filesystem::path& file, std::int64_t completeSize);

    // Bytes on disk when it was opened; what append() adds is the owner's to count.
    [[nodiscard]] std::int64_t initialSize() const noexcept { return initialSize_; }

    // The stored entity tag, when there is one that can stand in a request's header.
    [[nodiscard]] std::optional<std::string> validator() const;

    // Replaces the stored entity tag; an empty text means that the server gave none.
    void saveValidator(const std::string& entityTag);

    // Discards what is on disk.
    void restart();

    void append(ByteView chunk);

    // Flushes to the disk and closes; closes also when flushing fails.
    void finish();

private:
    std::unique_ptr<Directory> directory_;
    std::string name_;
    std::unique_ptr<FileHandle> handle_;
    std::int64_t initialSize_ = 0;
};

} // namespace InstallerCore
