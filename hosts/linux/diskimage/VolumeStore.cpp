#include "hosts/linux/diskimage/VolumeStore.h"

#include "InstallerCore/platform/ReadText.h"
#include "InstallerCore/support/PlatformError.h"
#include "hosts/linux/diskimage/DiskFailure.h"
#include "hosts/linux/diskimage/VolumeWriter.h"
#include "hosts/posix/DirectoryPosix.h"
#include "hosts/posix/EntryNames.h"
#include "hosts/posix/RemoveTree.h"
#include "hosts/posix/RenameExclusively.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

namespace InstallerCore {

namespace {

constexpr const char* stateName = ".images";
constexpr const char* lockName = "lock";
constexpr std::string_view attachedSuffix = ".attached";
constexpr std::string_view movingSuffix = ".moving";
constexpr mode_t privateMode = 0700;
constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// Makes the directory when it is missing and opens it.
Descriptor ensureDirectory(int parent, const char* path, mode_t mode, const std::string& shownPath) {
    Descriptor directory(::openat(parent, path, directoryFlags));
    if (directory.get() < 0 && errno == ENOENT) {
        ::mkdirat(parent, path, mode); // when it fails, so does the next call
        directory = Descriptor(::openat(parent, path, directoryFlags));
    }
    if (directory.get() < 0) {
        throwDiskFailure("the directory \"" + shownPath + "\" cannot be used", errno);
    }
    return directory;
}

Descriptor openState(int volumes, const std::string& path) {
    Descriptor state = ensureDirectory(volumes, stateName, privateMode, path);
    struct stat status{};
    if (::fstat(state.get(), &status) != 0 || status.st_uid != ::geteuid()) {
        throw DiskImageError("the directory \"" + path + "\" belongs to somebody else");
    }
    if (::fchmod(state.get(), privateMode) != 0) {
        throwDiskFailure("the directory \"" + path + "\" cannot be used", errno);
    }
    return state;
}

Descriptor takeLock(int state) {
    constexpr mode_t lockMode = 0600;
    Descriptor lock(
        ::openat(state, lockName, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, lockMode));
    int result = lock.get() < 0 ? -1 : 0;
    while (result == 0 && ::flock(lock.get(), LOCK_EX) != 0) {
        result = errno == EINTR ? 0 : -1;
    }
    if (result != 0) {
        throwDiskFailure("the images cannot be locked", errno);
    }
    return lock;
}

std::string attachedName(const std::string& id) {
    return id + std::string(attachedSuffix);
}

std::string movingName(const std::string& id) {
    return id + std::string(movingSuffix);
}

bool isRecord(std::string_view name) {
    return name.ends_with(attachedSuffix) || name.ends_with(movingSuffix);
}

void synchronize(int directory) {
    if (::fsync(directory) != 0) {
        throwDiskFailure("the images cannot be recorded", errno);
    }
}

// Absent when nobody of ours wrote it.
std::optional<MountRecord> readRecord(Directory& state, const std::string& name) {
    constexpr std::size_t longest = std::size_t{1} << 20U;
    try {
        auto record = parseMountRecord(readText(state, name, longest));
        const bool ours = record && (attachedName(record->id) == name || movingName(record->id) == name);
        return ours ? std::move(record) : std::nullopt;
    } catch (const PlatformError& error) {
        if (error.is(FileErrorCode::notRegularFile) || error.is(FileErrorCode::readNotText) ||
            error.is(FileErrorCode::readTooLarge)) { // not one of ours
            return std::nullopt;
        }
        throw DiskImageError("the record of an image cannot be read");
    }
}

std::string name(const std::string& wanted, unsigned attempt) {
    return attempt == 0 ? wanted : wanted + " " + std::to_string(attempt);
}

} // namespace

VolumeStore::VolumeStore(std::filesystem::path volumes) : volumes_(std::move(volumes)) {
    constexpr mode_t publicMode = 0755;
    directory_ = ensureDirectory(AT_FDCWD, volumes_.c_str(), publicMode, volumes_.string());
    state_ = openState(directory_.get(), (volumes_ / stateName).string());
    lock_ = takeLock(state_.get());
    repair();
}

bool VolumeStore::isThere(const std::filesystem::path& volumes) {
    struct stat status{};
    return ::lstat((volumes / stateName).c_str(), &status) == 0 || errno != ENOENT;
}

bool VolumeStore::isAt(const MountedVolume& volume, const std::string& name) const {
    struct stat status{};
    if (::fstatat(directory_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno != ENOENT) {
            throwDiskFailure("the volume cannot be looked at", errno);
        }
        return false;
    }
    return S_ISDIR(status.st_mode) && isRootOf(volume, status);
}

bool VolumeStore::isRootOf(const MountedVolume& volume, const struct stat& status) const {
    struct stat here{};
    if (::fstat(directory_.get(), &here) != 0) {
        throwDiskFailure("the volume cannot be looked at", errno);
    }
    return status.st_dev == here.st_dev && status.st_ino == volume.inode;
}

bool VolumeStore::isIntact(const MountRecord& record) const {
    return std::ranges::all_of(record.entities, [&](const SystemEntity& entity) {
        return !entity.volume || isAt(*entity.volume, entity.volume->name);
    });
}

const MountRecord* VolumeStore::imageAt(const std::filesystem::path& mountPoint) const {
    struct stat status{};
    const bool there = ::lstat(mountPoint.c_str(), &status) == 0;
    for (const MountRecord& record : records_) {
        for (const SystemEntity& entity : record.entities) {
            const bool same = entity.volume && there && isRootOf(*entity.volume, status);
            // One that somebody has removed can still be named.
            const bool gone = entity.volume && !there && placeOf(*entity.volume) == mountPoint;
            if (same || gone) {
                return &record;
            }
        }
    }
    return nullptr;
}

std::filesystem::path VolumeStore::prepare(const std::string& id) {
    if (::mkdirat(state_.get(), id.c_str(), privateMode) != 0) {
        throwDiskFailure("no room can be made for the volume", errno);
    }
    return volumes_ / stateName / id;
}

std::string VolumeStore::folderOfVolume(std::size_t entity) {
    return "volume-" + std::to_string(entity);
}

void VolumeStore::save(const MountRecord& record) const {
    DirectoryPosix(Descriptor(::fcntl(state_.get(), F_DUPFD_CLOEXEC, 0)))
        .replace(movingName(record.id), asBytes(serialize(record)));
}

void VolumeStore::publish(MountRecord record) {
    for (std::size_t index = 0; index < record.entities.size(); ++index) {
        if (record.entities[index].volume) {
            show(record, index);
        }
    }
    if (::renameat(state_.get(), movingName(record.id).c_str(), state_.get(),
                   attachedName(record.id).c_str()) != 0) {
        throwDiskFailure("the images cannot be recorded", errno);
    }
    synchronize(state_.get());
    // The volumes are in their places; what stays here until the next repair is no harm.
    static_cast<void>(removeTree(state_.get(), record.id));
    records_.push_back(std::move(record));
}

// A volume's root gets no permission to write, so that nobody takes it for a folder of his own by mistake.
// The rest keeps the modes of the volume: without privilege, nothing here holds a tree read-only against its
// owner, and an application that is copied from there should have its own.
void VolumeStore::show(MountRecord& record, std::size_t entity) const {
    constexpr mode_t rootMode = 0555;
    MountedVolume& volume = *record.entities[entity].volume;
    const std::string tree = record.id + "/" + folderOfVolume(entity) + "/" + volumeTree;
    const Descriptor root(::openat(state_.get(), tree.c_str(), directoryFlags));
    struct stat status{};
    if (root.get() < 0 || ::fstat(root.get(), &status) != 0) {
        throwDiskFailure("the volume cannot be mounted", errno);
    }
    volume.inode = status.st_ino;
    const std::string wanted = volume.name;
    for (unsigned attempt = 0;; ++attempt) {
        volume.name = name(wanted, attempt);
        if (::fstatat(directory_.get(), volume.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
            continue;
        }
        save(record); // first, so that whoever comes after a crash knows where to look
        if (renameExclusively(state_.get(), tree.c_str(), directory_.get(), volume.name.c_str()) == 0) {
            break;
        }
        if (errno != EEXIST) {
            throwDiskFailure("the volume cannot be mounted", errno);
        }
    }
    if (::fchmod(root.get(), rootMode) != 0) {
        throwDiskFailure("the volume cannot be mounted", errno);
    }
}

void VolumeStore::remove(const std::string& id) {
    const bool renamed = ::renameat(state_.get(), attachedName(id).c_str(), state_.get(),
                                    movingName(id).c_str()) == 0; // which needs no room on the disk
    if (!renamed && errno != ENOENT) {
        throwDiskFailure("the images cannot be recorded", errno);
    }
    synchronize(state_.get());
    repair();
}

// Takes the volumes out of sight; repair() removes them.
void VolumeStore::hide(const MountRecord& record) const {
    ::mkdirat(state_.get(), record.id.c_str(), privateMode); // it may be there
    for (std::size_t index = 0; index < record.entities.size(); ++index) {
        const auto& volume = record.entities[index].volume;
        if (!volume || !isAt(*volume, volume->name)) {
            continue;
        }
        const Descriptor root(::openat(directory_.get(), volume->name.c_str(), directoryFlags));
        const std::string place = record.id + "/gone-" + std::to_string(index);
        // A directory must be writable to be moved.
        if (root.get() < 0 || ::fchmod(root.get(), privateMode) != 0 ||
            renameExclusively(directory_.get(), volume->name.c_str(), state_.get(), place.c_str()) != 0) {
            throwDiskFailure("the volume cannot be removed", errno);
        }
    }
}

void VolumeStore::repair() {
    const auto names = entryNames(state_.get());
    if (!names) {
        throwDiskFailure("the images cannot be listed", errno);
    }
    DirectoryPosix files(Descriptor(::fcntl(state_.get(), F_DUPFD_CLOEXEC, 0)));
    records_.clear();
    std::vector<std::string> doomed;
    for (const std::string& name : *names) {
        if (name == lockName) {
            continue;
        }
        if (isRecord(name)) {
            auto record = readRecord(files, name);
            if (record && name.ends_with(attachedSuffix)) {
                records_.push_back(std::move(*record));
                continue;
            }
            if (record) {
                hide(*record);
                doomed.push_back(record->id);
            }
        }
        doomed.push_back(name);
    }
    // A record goes last, since it is what leads to the rest.
    std::ranges::partition(doomed, [](const std::string& name) { return !isRecord(name); });
    for (const std::string& name : doomed) {
        if (removeTree(state_.get(), name) != 0 && errno != ENOENT) {
            throwDiskFailure("what an interrupted run left cannot be removed", errno);
        }
    }
    std::ranges::sort(records_, {}, &MountRecord::firstDisk);
}

} // namespace InstallerCore
