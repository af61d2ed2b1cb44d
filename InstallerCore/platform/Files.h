#pragma once

#include "InstallerCore/platform/Clock.h"
#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

// The file system as the core needs it. Every failure is a PlatformError of the file domain, a missing entry
// among them. What the core creates is for the owner only: 0600 for files, 0700 for directories.
namespace InstallerCore {

enum class FileType { regular, directory, symbolicLink, other };

struct FileAttributes {
    std::optional<FileType> type;     // absent when the file system does not tell
    std::int64_t size = 0;            // bytes; of the entry itself, never of a link's target
    std::optional<WallTime> modified; // of the content
};

// An open regular file with one position. Closed by close(), or silently by the destructor. Not for two
// threads at once, but may be handed from one to another.
class FileHandle {
public:
    virtual ~FileHandle() = default;

    // Fills as much of the buffer as one read gives and returns the count; 0 means the end.
    [[nodiscard]] virtual std::size_t read(std::span<std::byte> buffer) = 0;

    // All of the bytes, at the position.
    virtual void write(ByteView bytes) = 0;

    // Moves the position to the end and returns it.
    virtual std::int64_t seekToEnd() = 0;

    // Cuts the file to the size and moves the position there.
    virtual void truncate(std::int64_t size) = 0;

    // Returns when the content is on the disk.
    virtual void synchronize() = 0;

    // The handle is spent afterwards, also when this throws.
    virtual void close() = 0;
};

enum class FileAccess { read, update, append };

class FileLock; // held while the object lives

// A directory held open: all operations are relative to it, so that nothing that happens to its path can lead
// them elsewhere. A name is a single path component. No operation follows a symbolic link. May be used from
// any thread.
class Directory {
public:
    virtual ~Directory() = default;

    // The direct entries in the order of the file system, hidden ones included, "." and ".." left out.
    [[nodiscard]] virtual std::vector<std::string> names() const = 0;

    [[nodiscard]] virtual FileAttributes attributes(const std::string& name) const = 0;

    // Makes an empty regular file unless the name is taken by anything. A failure is silent: whoever opens
    // the file learns of it.
    virtual void createIfMissing(const std::string& name) noexcept = 0;

    // Opens an existing regular file. Anything else gives FileErrorCode::notRegularFile, at once and without
    // a side effect on what is there, a FIFO or a device included.
    [[nodiscard]] virtual std::unique_ptr<FileHandle> open(const std::string& name, FileAccess access) = 0;

    // Replaces whatever file or link has the name by a regular file with these bytes, atomically: afterwards
    // there is the old entry or the whole new one, and nothing else was left behind. One caller at a time for
    // a name: a process that is killed here leaves ".new-" and the name, which the next replacement clears.
    virtual void replace(const std::string& name, ByteView bytes) = 0;

    // Removes the entry itself. A directory is never removed: it is an error.
    virtual void remove(const std::string& name) = 0;

    // Takes the advisory lock on the file of the name, made when missing, without waiting. Absent when
    // another open file holds it. No child process inherits it.
    [[nodiscard]] virtual std::unique_ptr<FileLock> lock(const std::string& name) = 0;
};

class FileLock {
public:
    virtual ~FileLock() = default;
};

// May be called from any thread.
class Files {
public:
    virtual ~Files() = default;

    [[nodiscard]] virtual std::filesystem::path homeDirectory() const = 0;

    // With all missing parents; one that exists is no error and keeps its permissions.
    virtual void createDirectory(const std::filesystem::path& path) = 0;

    // Of the entry itself, not of a link's target.
    [[nodiscard]] virtual FileAttributes attributes(const std::filesystem::path& path) const = 0;

    // Gives the directory the permissions 0700. A link in its place is not followed.
    virtual void makePrivate(const std::filesystem::path& directory) = 0;

    // The last component may not be a symbolic link. An empty path is the current directory, as the parent
    // of a bare file name.
    [[nodiscard]] virtual std::unique_ptr<Directory> openDirectory(const std::filesystem::path& path) = 0;

    // Opens for reading what the path leads to, links followed. Anything but a regular file gives
    // FileErrorCode::notRegularFile without blocking.
    [[nodiscard]] virtual std::unique_ptr<FileHandle> openForReading(const std::filesystem::path& path) = 0;
};

} // namespace InstallerCore
