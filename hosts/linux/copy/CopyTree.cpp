#include "hosts/linux/copy/CopyTree.h"

#include "hosts/linux/copy/CopyAttributes.h"
#include "hosts/linux/copy/CopyContent.h"
#include "hosts/linux/copy/CopyError.h"
#include "hosts/posix/Descriptor.h"
#include "hosts/posix/EntryNames.h"
#include "hosts/posix/WorkQueue.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace InstallerCore {

namespace {

constexpr mode_t newDirectory = 0700;
constexpr mode_t newFile = 0600;
constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// Directories on the way down of which both descriptors stay open; those above them are found again.
constexpr std::size_t openLevels = 32;

// One thread copies such a tree, file after file.
constexpr std::uint64_t smallTree = std::uint64_t{1} << 20U; // bytes

struct Identity {
    dev_t device = 0;
    ino_t inode = 0;

    explicit Identity(const struct stat& status) : device(status.st_dev), inode(status.st_ino) {}

    auto operator<=>(const Identity&) const = default;
};

// One side of a directory that is being copied.
struct Side {
    Descriptor descriptor;
    struct stat status{}; // when it was opened
};

struct Level {
    std::string name;
    Side source;
    Side destination;
    std::vector<std::string> names;
    std::size_t next = 0;
};

// The last name of a path and the directory that it is in.
struct Place {
    std::string parent;
    std::string name;
};

Place placeOf(const std::filesystem::path& path) {
    std::string text = path.string();
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    const auto slash = text.rfind('/');
    if (slash == std::string::npos) {
        return {.parent = ".", .name = text};
    }
    return {.parent = slash == 0 ? "/" : text.substr(0, slash),
            .name = text == "/" ? "." : text.substr(slash + 1)};
}

Descriptor openParent(const Place& place, int links) {
    Descriptor parent(uninterrupted(
        [&] { return ::open(place.parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC | links); }));
    if (parent.get() < 0) {
        throwCopyError(place.parent, errno);
    }
    return parent;
}

struct stat statusOf(int descriptor, const std::string& path) {
    struct stat status{};
    if (::fstat(descriptor, &status) != 0) {
        throwCopyError(path, errno);
    }
    return status;
}

class TreeCopy {
public:
    TreeCopy(const std::filesystem::path& source, const std::filesystem::path& destination,
             AttributeCopier::Log log)
        : source_(placeOf(source)),
          destination_(placeOf(destination)),
          sourcePath_(source.string()),
          destinationPath_(destination.string()),
          attributes_(std::move(log)) {}

    void run() {
        sourceParent_ = openParent(source_, 0);
        // The copy must not end up where somebody's link leads.
        destinationParent_ = openParent(destination_, O_NOFOLLOW);
        copyEntry(source_.name, destination_.name);
        while (!levels_.empty()) {
            Level& level = levels_.back();
            if (level.next < level.names.size()) {
                const std::string name = std::move(level.names[level.next++]);
                copyEntry(name, name);
            } else {
                leaveDirectory();
            }
        }
        queue_.finish();
    }

private:
    [[nodiscard]] int sourceDirectory() const {
        return levels_.empty() ? sourceParent_.get() : levels_.back().source.descriptor.get();
    }

    [[nodiscard]] int destinationDirectory() const {
        return levels_.empty() ? destinationParent_.get() : levels_.back().destination.descriptor.get();
    }

    // Below the root of the tree; the root's own name counts for nothing.
    [[nodiscard]] std::string below(const std::string& root, const std::string& name) const {
        std::string path = root;
        for (std::size_t i = 1; i < levels_.size(); ++i) {
            path.append("/").append(levels_[i].name);
        }
        return levels_.empty() ? path : path.append("/").append(name);
    }

    [[nodiscard]] std::string sourcePath(const std::string& name) const { return below(sourcePath_, name); }

    [[nodiscard]] std::string destinationPath(const std::string& name) const {
        return below(destinationPath_, name);
    }

    void copyEntry(const std::string& name, const std::string& newName);
    void copyDirectory(const std::string& name, const std::string& newName, const struct stat& status);
    void copyFile(const std::string& name, const std::string& newName, const struct stat& status);
    void copyLink(const std::string& name, const std::string& newName, const struct stat& status);
    void finishFile(FileCopy& file);
    void leaveDirectory();
    void reopenParent(Side Level::* side, const std::string& path);
    [[nodiscard]] Descriptor openSource(const std::string& name, int flags, const struct stat& status) const;
    void refuseInheritedRights(int descriptor) const;
    [[nodiscard]] bool linkToEarlierCopy(const std::string& newName, const struct stat& status);
    [[nodiscard]] Descriptor directoryOfCopy(const std::vector<std::string>& directories) const;
    void remember(const std::string& newName, const struct stat& status);

    // A copy with several names.
    struct LinkedCopy {
        std::vector<std::string> directories; // the way from the destination's parent
        std::string name;
        Identity identity;
    };

    Place source_;
    Place destination_;
    std::string sourcePath_;
    std::string destinationPath_;
    Descriptor sourceParent_;
    Descriptor destinationParent_;
    std::vector<Level> levels_;
    std::optional<Identity> root_; // of the copy, when it is a directory
    std::map<Identity, LinkedCopy> linked_;
    ContentCopier contents_;
    AttributeCopier attributes_;
    WorkQueue queue_{{.fewest = 2, .most = 4, .sizeForOne = smallTree}}; // last: its threads use the others
};

void TreeCopy::copyEntry(const std::string& name, const std::string& newName) {
    struct stat status{};
    if (::fstatat(sourceDirectory(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        throwCopyError(sourcePath(name), errno);
    }
    if (S_ISDIR(status.st_mode)) {
        copyDirectory(name, newName, status);
        return;
    }
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        throw CopyError(sourcePath(name), "neither a file, a directory nor a link");
    }
    if (status.st_nlink > 1 && linkToEarlierCopy(newName, status)) {
        return;
    }
    S_ISREG(status.st_mode) ? copyFile(name, newName, status) : copyLink(name, newName, status);
    if (status.st_nlink > 1) {
        remember(newName, status);
    }
}

Descriptor TreeCopy::openSource(const std::string& name, int flags, const struct stat& status) const {
    Descriptor opened(uninterrupted(
        [&] { return ::openat(sourceDirectory(), name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC); }));
    if (opened.get() < 0) {
        // It is there under another type or not at all, since its status was taken.
        if (errno == ELOOP || errno == ENOTDIR || errno == ENXIO || errno == ENOENT) {
            throwChanged(sourcePath(name));
        }
        throwCopyError(sourcePath(name), errno);
    }
    if (!isUnchanged(status, statusOf(opened.get(), sourcePath(name)))) {
        throwChanged(sourcePath(name));
    }
    return opened;
}

// Only the root can inherit rights from where it is made; the tree gets its own when it is finished.
void TreeCopy::refuseInheritedRights(int descriptor) const {
    if (!levels_.empty()) {
        return;
    }
    for (const char* const name : {"system.posix_acl_access", "system.posix_acl_default"}) {
        if (::fremovexattr(descriptor, name) != 0 && errno != ENODATA && errno != EOPNOTSUPP) {
            throwCopyError(destinationPath_, errno);
        }
    }
    if (::fchmod(descriptor,
                 S_ISDIR(statusOf(descriptor, destinationPath_).st_mode) ? newDirectory : newFile) != 0) {
        throwCopyError(destinationPath_, errno);
    }
}

void TreeCopy::copyDirectory(const std::string& name, const std::string& newName, const struct stat& status) {
    if (root_ && Identity(status) == *root_) {
        throw CopyError(sourcePath_, "cannot be copied into itself");
    }
    Level level{.name = newName};
    level.source = {.descriptor = openSource(name, O_RDONLY | O_DIRECTORY, status), .status = status};
    const std::string path = destinationPath(newName);
    if (::mkdirat(destinationDirectory(), newName.c_str(), newDirectory) != 0) {
        throwCopyError(path, errno);
    }
    Side& made = level.destination;
    made.descriptor = Descriptor(
        uninterrupted([&] { return ::openat(destinationDirectory(), newName.c_str(), directoryFlags); }));
    if (made.descriptor.get() < 0) {
        throwCopyError(path, errno);
    }
    made.status = statusOf(made.descriptor.get(), path);
    const auto content = entryNames(made.descriptor.get());
    if (!content) {
        throwCopyError(path, errno);
    }
    if (made.status.st_uid != ::geteuid() || !content->empty()) {
        throwChanged(path); // somebody has put another in its place
    }
    refuseInheritedRights(made.descriptor.get());
    auto names = entryNames(level.source.descriptor.get());
    if (!names) {
        throwCopyError(sourcePath(name), errno);
    }
    std::ranges::sort(*names);
    level.names = std::move(*names);
    if (!root_) {
        root_ = Identity(made.status);
    }
    levels_.push_back(std::move(level));
    if (levels_.size() > openLevels) {
        Level& above = levels_[levels_.size() - openLevels - 1];
        above.source.descriptor = Descriptor();
        above.destination.descriptor = Descriptor();
    }
}

void TreeCopy::leaveDirectory() {
    const Level& level = levels_.back();
    // The path of the directory itself.
    std::string from = sourcePath("");
    std::string to = destinationPath("");
    from.pop_back();
    to.pop_back();
    const int source = level.source.descriptor.get();
    if (!isUnchanged(level.source.status, statusOf(source, from))) {
        throwChanged(from);
    }
    if (levels_.size() > 1) {
        reopenParent(&Level::source, from);
        reopenParent(&Level::destination, to);
    }
    attributes_.copy(source, level.destination.descriptor.get(),
                     {.status = level.source.status, .sourcePath = from, .destinationPath = to});
    levels_.pop_back();
}

// By way of the last level, which is still open.
void TreeCopy::reopenParent(Side Level::* side, const std::string& path) {
    Side& parent = levels_[levels_.size() - 2].*side;
    if (parent.descriptor.get() >= 0) {
        return;
    }
    const int child = (levels_.back().*side).descriptor.get();
    parent.descriptor = Descriptor(uninterrupted([&] { return ::openat(child, "..", directoryFlags); }));
    if (parent.descriptor.get() < 0) {
        throwCopyError(path, errno);
    }
    if (Identity(statusOf(parent.descriptor.get(), path)) != Identity(parent.status)) {
        throwChanged(path); // it was moved
    }
}

void TreeCopy::copyFile(const std::string& name, const std::string& newName, const struct stat& status) {
    FileCopy file{.source = openSource(name, O_RDONLY | O_NONBLOCK | O_NOCTTY, status),
                  .status = status,
                  .sourcePath = sourcePath(name),
                  .destinationPath = destinationPath(newName)};
    file.destination = Descriptor(uninterrupted([&] {
        return ::openat(destinationDirectory(), newName.c_str(),
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, newFile);
    }));
    if (file.destination.get() < 0) {
        throwCopyError(file.destinationPath, errno);
    }
    refuseInheritedRights(file.destination.get());
    // What is queued has to be copyable, and an open file is not.
    const auto queued = std::make_shared<FileCopy>(std::move(file));
    queue_.push([this, queued] { finishFile(*queued); }, static_cast<std::uint64_t>(status.st_size));
}

// On any thread.
void TreeCopy::finishFile(FileCopy& file) {
    contents_.copy(file);
    attributes_.copy(
        file.source.get(), file.destination.get(),
        {.status = file.status, .sourcePath = file.sourcePath, .destinationPath = file.destinationPath});
    // Some file systems say only now that they are full.
    if (::close(file.destination.release()) != 0 && errno != EINTR) {
        throwCopyError(file.destinationPath, errno);
    }
}

void TreeCopy::copyLink(const std::string& name, const std::string& newName, const struct stat& status) {
    const std::string from = sourcePath(name);
    const std::string to = destinationPath(newName);
    std::string text(static_cast<std::size_t>(status.st_size) + 1, '\0');
    const ssize_t length = ::readlinkat(sourceDirectory(), name.c_str(), text.data(), text.size());
    if (length < 0) {
        errno == EINVAL || errno == ENOENT ? throwChanged(from) : throwCopyError(from, errno);
    }
    struct stat after{};
    if (::fstatat(sourceDirectory(), name.c_str(), &after, AT_SYMLINK_NOFOLLOW) != 0) {
        errno == ENOENT ? throwChanged(from) : throwCopyError(from, errno);
    }
    if (!isUnchanged(status, after) || length != status.st_size) {
        throwChanged(from);
    }
    text.resize(static_cast<std::size_t>(length));
    if (::symlinkat(text.c_str(), destinationDirectory(), newName.c_str()) != 0) {
        throwCopyError(to, errno);
    }
    attributes_.copyLink({.directory = sourceDirectory(), .name = name},
                         {.directory = destinationDirectory(), .name = newName},
                         {.status = status, .sourcePath = from, .destinationPath = to});
}

void TreeCopy::remember(const std::string& newName, const struct stat& status) {
    struct stat copy{};
    if (::fstatat(destinationDirectory(), newName.c_str(), &copy, AT_SYMLINK_NOFOLLOW) != 0) {
        throwCopyError(destinationPath(newName), errno);
    }
    LinkedCopy linked{.name = newName, .identity = Identity(copy)};
    for (const Level& level : levels_) {
        linked.directories.push_back(level.name);
    }
    linked_.emplace(Identity(status), std::move(linked));
}

bool TreeCopy::linkToEarlierCopy(const std::string& newName, const struct stat& status) {
    const auto found = linked_.find(Identity(status));
    if (found == linked_.end()) {
        return false;
    }
    const LinkedCopy& earlier = found->second;
    const Descriptor directory = directoryOfCopy(earlier.directories);
    const std::string path = destinationPath(newName);
    struct stat copy{};
    if (::linkat(directory.get(), earlier.name.c_str(), destinationDirectory(), newName.c_str(), 0) != 0 ||
        ::fstatat(destinationDirectory(), newName.c_str(), &copy, AT_SYMLINK_NOFOLLOW) != 0) {
        throwCopyError(path, errno);
    }
    if (Identity(copy) != earlier.identity) {
        throwChanged(path); // the earlier copy is no longer what it was
    }
    return true;
}

Descriptor TreeCopy::directoryOfCopy(const std::vector<std::string>& directories) const {
    Descriptor directory;
    int above = destinationParent_.get();
    for (const std::string& name : directories) {
        directory = Descriptor(uninterrupted(
            [&] { return ::openat(above, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); }));
        if (directory.get() < 0) {
            throwCopyError(destinationPath_, errno);
        }
        above = directory.get();
    }
    return directory;
}

} // namespace

void copyTree(const std::filesystem::path& source, const std::filesystem::path& destination,
              const std::function<void(const std::string& line)>& log) {
    TreeCopy(source, destination, log).run();
}

} // namespace InstallerCore
