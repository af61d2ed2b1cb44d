#include "hosts/posix/RemoveTree.h"

#include "hosts/posix/Descriptor.h"
#include "hosts/posix/EntryNames.h"
#include "hosts/posix/RenameExclusively.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace InstallerCore {

namespace {

constexpr mode_t ownerOnlyDirectory = 0700;

Descriptor openForRemoval(int directory, const char* name) {
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    Descriptor opened(::openat(directory, name, flags));
    if (opened.get() < 0 && errno == EACCES &&
        ::fchmodat(directory, name, ownerOnlyDirectory, AT_SYMLINK_NOFOLLOW) == 0) {
        opened = Descriptor(::openat(directory, name, flags));
    }
    struct stat status{};
    if (opened.get() >= 0 && ::fstat(opened.get(), &status) == 0 &&
        (status.st_mode & ownerOnlyDirectory) != ownerOnlyDirectory) {
        ::fchmod(opened.get(), ownerOnlyDirectory); // when it fails, the removal says so
    }
    return opened;
}

enum class Removal { done, full, failed };

// Removes a file, a link or an empty directory. A directory in use, such as one that a volume is mounted on,
// has failed before anybody looks into it.
Removal removeOne(int directory, const char* name) {
    if (::unlinkat(directory, name, 0) == 0) {
        return Removal::done;
    }
    const int error = errno;
    if (error != EISDIR && error != EPERM && error != EACCES) { // what systems say of a directory
        return Removal::failed;
    }
    if (::unlinkat(directory, name, AT_REMOVEDIR) == 0) {
        return Removal::done;
    }
    if (errno == ENOTDIR) {
        errno = error;
    }
    return errno == ENOTEMPTY || errno == EEXIST ? Removal::full : Removal::failed;
}

// The same within the tree, where somebody else may have been faster.
Removal removeInside(int directory, const char* name) {
    const Removal removal = removeOne(directory, name);
    return removal == Removal::failed && errno == ENOENT ? Removal::done : removal;
}

// A directory on its way out. Sub-directories of its sub-directories are moved up into it, so that the tree
// never has to be descended.
class DoomedDirectory {
public:
    explicit DoomedDirectory(int descriptor) : descriptor_(descriptor) {}

    [[nodiscard]] int removeContent() {
        while (true) {
            const auto names = entryNames(descriptor_);
            if (!names) {
                return -1;
            }
            if (names->empty()) {
                return 0;
            }
            for (const std::string& name : *names) {
                if (removeEntry(name) != 0) {
                    return -1;
                }
            }
        }
    }

private:
    [[nodiscard]] int removeEntry(const std::string& name) {
        const Removal removal = removeInside(descriptor_, name.c_str());
        if (removal != Removal::full) {
            return removal == Removal::done ? 0 : -1;
        }
        const Descriptor child = openForRemoval(descriptor_, name.c_str());
        if (child.get() < 0 || emptyChild(child.get()) != 0) {
            return -1;
        }
        return ::unlinkat(descriptor_, name.c_str(), AT_REMOVEDIR);
    }

    [[nodiscard]] int emptyChild(int child) {
        const auto names = entryNames(child);
        if (!names) {
            return -1;
        }
        for (const std::string& name : *names) {
            const Removal removal = removeInside(child, name.c_str());
            if (removal == Removal::failed || (removal == Removal::full && moveUp(child, name) != 0)) {
                return -1;
            }
        }
        return 0;
    }

    [[nodiscard]] int moveUp(int child, const std::string& name) {
        // A directory must be writable to be moved.
        static_cast<void>(openForRemoval(child, name.c_str()));
        while (true) {
            const std::string newName = "level-" + std::to_string(++moved_);
            if (renameExclusively(child, name.c_str(), descriptor_, newName.c_str()) == 0) {
                return 0;
            }
            if (errno != EEXIST) {
                return -1;
            }
        }
    }

    int descriptor_;
    unsigned long moved_ = 0;
};

} // namespace

int removeTree(int directory, const std::string& name) {
    const Removal removal = removeOne(directory, name.c_str());
    if (removal != Removal::full) {
        return removal == Removal::done ? 0 : -1;
    }
    const Descriptor doomed = openForRemoval(directory, name.c_str());
    if (doomed.get() < 0 || DoomedDirectory(doomed.get()).removeContent() != 0) {
        return -1;
    }
    return ::unlinkat(directory, name.c_str(), AT_REMOVEDIR);
}

} // namespace InstallerCore
