#pragma once

#include <sys/stat.h>

#include <functional>
#include <mutex>
#include <string>
#include <utility>

namespace InstallerCore {

// The name that an attribute has on Linux: its own, or behind "user." when it is in none of the namespaces.
[[nodiscard]] std::string linuxAttributeName(const std::string& name);

// What has just been copied and how to name it in an error.
struct CopiedEntry {
    const struct stat& status; // of the source
    const std::string& sourcePath;
    const std::string& destinationPath;
};

// An entry by the directory that it is in.
struct EntryPlace {
    int directory;
    const std::string& name;
};

// Gives copies the extended attributes, access control lists, owner, mode and times of their sources.
//
// The owner is kept where the process may; set-uid and set-gid bits stay only with the owner and the group
// that they were meant for. Extended attributes that the file system does not have or the process may not set
// are left out, which the log hears once. Any thread, each entry on one. Throws CopyError.
class AttributeCopier {
public:
    using Log = std::function<void(const std::string& line)>;

    explicit AttributeCopier(Log log) : log_(std::move(log)) {}

    // For files and directories, when nothing of the copy is missing but this.
    void copy(int source, int destination, const CopiedEntry& entry);

    // For symbolic links, which have no mode.
    void copyLink(const EntryPlace& source, const EntryPlace& destination, const CopiedEntry& entry);

private:
    struct Access;
    void copyExtended(const Access& access, const CopiedEntry& entry);
    void copyNamed(const Access& access, const std::string& name, const CopiedEntry& entry);

    Log log_;
    std::once_flag logged_;
};

} // namespace InstallerCore
