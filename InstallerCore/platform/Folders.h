#pragma once

#include "InstallerCore/platform/Files.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace InstallerCore {

// A directory held open whose entries are whole trees: applications, staging directories. A name is a single
// path component. No operation follows a symbolic link but exists(). Failures are as in Files.h. May be used
// from any thread.
class Folder {
public:
    virtual ~Folder() = default;

    // The same directory, for the files in it. Lives as long as this object.
    [[nodiscard]] virtual Directory& files() = 0;

    // Whether the name leads to anything, links followed; one that leads nowhere does not exist.
    [[nodiscard]] virtual bool exists(const std::string& name) const = 0;

    // A new directory for the owner only, on the disk when this returns. The name may not be taken.
    virtual void createFolder(const std::string& name) = 0;

    [[nodiscard]] virtual std::unique_ptr<Folder> openFolder(const std::string& name) const = 0;

    // Renames an entry of any kind, a link itself, within one volume; on the disk when this returns. What has
    // the new name, a dangling link included, is never replaced: it is an error. The target comes from the
    // same service.
    virtual void move(const std::string& name, Folder& target, const std::string& newName) = 0;

    // Removes the entry with all that is in it; of a link, only the link. Whatever could be removed before a
    // failure is gone.
    virtual void removeTree(const std::string& name) = 0;
};

// Directories and volumes by their path. May be called from any thread.
class Folders {
public:
    virtual ~Folders() = default;

    // The directory that the path leads to, links followed.
    [[nodiscard]] virtual std::unique_ptr<Folder> open(const std::filesystem::path& path) const = 0;

    // Whether the path leads to anything, links followed.
    [[nodiscard]] virtual bool exists(const std::filesystem::path& path) const = 0;

    // Whether this process may write what the path leads to.
    [[nodiscard]] virtual bool isWritable(const std::filesystem::path& path) const = 0;

    // Bytes that this user can still write on the volume of the path. Absent when the volume does not tell.
    [[nodiscard]] virtual std::optional<std::int64_t>
    availableSpace(const std::filesystem::path& path) const = 0;
};

} // namespace InstallerCore
