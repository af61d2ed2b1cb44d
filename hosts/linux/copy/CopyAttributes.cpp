#include "hosts/linux/copy/CopyAttributes.h"

#include "hosts/linux/copy/CopyError.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace InstallerCore {

namespace {

constexpr mode_t permissionBits = 07777;
constexpr std::string_view accessListPrefix = "system.posix_acl_";

bool isAccessList(const std::string& name) {
    return name.starts_with(accessListPrefix);
}

// What takes privilege to set, or is the security module's own.
bool isPrivileged(const std::string& name) {
    return name.starts_with("security.") || name.starts_with("trusted.") || name.starts_with("system.");
}

// The value grows between asking for its size and reading it, when somebody else writes it.
std::optional<std::string> readGrowing(const std::function<ssize_t(char*, std::size_t)>& read) {
    while (true) {
        const ssize_t size = read(nullptr, 0);
        if (size <= 0) {
            return size == 0 ? std::optional<std::string>("") : std::nullopt;
        }
        std::string value(static_cast<std::size_t>(size), '\0');
        const ssize_t count = read(value.data(), value.size());
        if (count >= 0) {
            value.resize(static_cast<std::size_t>(count));
            return value;
        }
        if (errno != ERANGE) {
            return std::nullopt;
        }
    }
}

std::vector<std::string> splitNames(const std::string& list) {
    std::vector<std::string> names;
    for (std::size_t begin = 0; begin < list.size();) {
        const std::size_t end = std::min(list.find('\0', begin), list.size());
        names.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    // Lists of access rights may take away the right to set the others.
    std::ranges::sort(names, {}, [](const std::string& name) { return std::pair(isAccessList(name), name); });
    return names;
}

std::array<struct timespec, 2> timesOf(const struct stat& status) {
    return {status.st_atim, status.st_mtim};
}

bool isNotPermitted(int error) {
    return error == EPERM || error == EINVAL; // EINVAL: a user whom this name space does not know
}

// The mode for a copy of this owner.
mode_t modeFor(const struct stat& source, const struct stat& copy) {
    mode_t mode = source.st_mode & permissionBits;
    if (source.st_uid != copy.st_uid) {
        mode &= ~static_cast<mode_t>(S_ISUID);
    }
    if (source.st_gid != copy.st_gid) {
        mode &= ~static_cast<mode_t>(S_ISGID);
    }
    return mode;
}

void copyOwner(int destination, const CopiedEntry& entry) {
    const struct stat& status = entry.status;
    struct stat copy{};
    if (::fstat(destination, &copy) != 0) {
        throwCopyError(entry.destinationPath, errno);
    }
    const bool isKept = copy.st_uid == status.st_uid && copy.st_gid == status.st_gid;
    if (!isKept && ::fchown(destination, status.st_uid, status.st_gid) != 0 && !isNotPermitted(errno)) {
        throwCopyError(entry.destinationPath, errno);
    }
}

void copyModeAndTimes(int destination, const CopiedEntry& entry) {
    struct stat copy{};
    if (::fstat(destination, &copy) != 0 || ::fchmod(destination, modeFor(entry.status, copy)) != 0 ||
        ::futimens(destination, timesOf(entry.status).data()) != 0) {
        throwCopyError(entry.destinationPath, errno);
    }
}

std::string procPath(const EntryPlace& place) {
    return "/proc/self/fd/" + std::to_string(place.directory) + "/" + place.name;
}

} // namespace

struct AttributeCopier::Access {
    std::function<ssize_t(char*, std::size_t)> list;
    std::function<ssize_t(const char*, char*, std::size_t)> get;
    std::function<int(const char*, const std::string&)> set;
};

std::string linuxAttributeName(const std::string& name) {
    constexpr std::array<std::string_view, 4> namespaces{"user.", "trusted.", "security.", "system."};
    const bool known = std::ranges::any_of(namespaces, [&](std::string_view prefix) {
        return name.starts_with(prefix) && name.size() > prefix.size();
    });
    return known ? name : "user." + name;
}

void AttributeCopier::copy(int source, int destination, const CopiedEntry& entry) {
    // The owner before anything that a change of owner would take away.
    copyOwner(destination, entry);
    copyExtended({.list = [=](char* names, std::size_t size) { return ::flistxattr(source, names, size); },
                  .get = [=](const char* name, char* value,
                             std::size_t size) { return ::fgetxattr(source, name, value, size); },
                  .set =
                      [=](const char* name, const std::string& value) {
                          return ::fsetxattr(destination, name, value.data(), value.size(), 0);
                      }},
                 entry);
    copyModeAndTimes(destination, entry);
}

void AttributeCopier::copyLink(const EntryPlace& source, const EntryPlace& destination,
                               const CopiedEntry& entry) {
    const struct stat& status = entry.status;
    if (::fchownat(destination.directory, destination.name.c_str(), status.st_uid, status.st_gid,
                   AT_SYMLINK_NOFOLLOW) != 0 &&
        !isNotPermitted(errno)) {
        throwCopyError(entry.destinationPath, errno);
    }
    const std::string from = procPath(source);
    const std::string to = procPath(destination);
    copyExtended(
        {.list = [&](char* names, std::size_t size) { return ::llistxattr(from.c_str(), names, size); },
         .get = [&](const char* name, char* value,
                    std::size_t size) { return ::lgetxattr(from.c_str(), name, value, size); },
         .set =
             [&](const char* name, const std::string& value) {
                 return ::lsetxattr(to.c_str(), name, value.data(), value.size(), 0);
             }},
        entry);
    if (::utimensat(destination.directory, destination.name.c_str(), timesOf(status).data(),
                    AT_SYMLINK_NOFOLLOW) != 0) {
        throwCopyError(entry.destinationPath, errno);
    }
}

void AttributeCopier::copyExtended(const Access& access, const CopiedEntry& entry) {
    const auto list = readGrowing(access.list);
    if (!list) {
        if (errno == EOPNOTSUPP) {
            return; // the source's file system has none
        }
        throwCopyError(entry.sourcePath, errno);
    }
    for (const std::string& name : splitNames(*list)) {
        copyNamed(access, name, entry);
    }
}

void AttributeCopier::copyNamed(const Access& access, const std::string& name, const CopiedEntry& entry) {
    const auto value =
        readGrowing([&](char* bytes, std::size_t size) { return access.get(name.c_str(), bytes, size); });
    if (!value && errno == ENODATA) {
        throwChanged(entry.sourcePath);
    }
    if (value && access.set(linuxAttributeName(name).c_str(), *value) == 0) {
        return;
    }
    const int error = errno;
    const std::string reason = std::generic_category().message(error);
    const bool isRefused = (error == EPERM || error == EACCES) && isPrivileged(name) && !isAccessList(name);
    if (error != EOPNOTSUPP && !isRefused) {
        const std::string& path = value ? entry.destinationPath : entry.sourcePath;
        throw CopyError(path, "attribute " + name + ": " + reason);
    }
    std::call_once(logged_, [&] {
        log_(CopyError(entry.destinationPath,
                       "attribute " + name + " is left out, and others may be: " + reason)
                 .what());
    });
}

} // namespace InstallerCore
