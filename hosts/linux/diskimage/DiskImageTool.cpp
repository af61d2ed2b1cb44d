#include "hosts/linux/diskimage/DiskImageTool.h"

#include "InstallerCore/support/Uuid.h"
#include "hosts/linux/diskimage/DiskFailure.h"
#include "hosts/linux/diskimage/ImageAttachment.h"
#include "hosts/linux/diskimage/ImageTable.h"
#include "hosts/linux/diskimage/OpenFiles.h"
#include "hosts/linux/diskimage/VolumeRules.h"
#include "hosts/linux/diskimage/VolumeStore.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iostream>

namespace InstallerCore {

namespace {

namespace fs = std::filesystem;

struct OpenImage {
    Descriptor file;
    ImageIdentity identity;
};

struct stat statusOf(const Descriptor& file, const fs::path& path) {
    struct stat status{};
    if (::fstat(file.get(), &status) != 0) {
        throwDiskFailure("\"" + shown(path.string()) + "\" cannot be read", errno);
    }
    return status;
}

OpenImage openImage(const fs::path& path) {
    Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (file.get() < 0) {
        throwDiskFailure("\"" + shown(path.string()) + "\" cannot be opened", errno);
    }
    const struct stat status = statusOf(file, path);
    if (!S_ISREG(status.st_mode)) {
        throw DiskImageError("\"" + shown(path.string()) + "\" is not a file");
    }
    const std::string real = fs::read_symlink("/proc/self/fd/" + std::to_string(file.get())).string();
    if (!isPrintable(real)) {
        throw DiskImageError("the path of the image cannot be written in a property list");
    }
    return {.file = std::move(file), .identity = identityOf(real, status)};
}

unsigned freeDisk(const std::vector<MountRecord>& records) {
    unsigned number = 4; // a Mac has used the first ones itself
    for (const MountRecord& record : records) {
        number = std::max(number, record.firstDisk + record.diskCount);
    }
    return number;
}

void discard(VolumeStore& store, const std::string& id) noexcept {
    try {
        store.remove(id);
    } catch (const std::exception&) {
        std::cerr << "hdiutil: the next run will have to clear something away\n";
    }
}

void refuseWhenBusy(const VolumeStore& store, const MountRecord& record) {
    for (const SystemEntity& entity : record.entities) {
        if (entity.volume && isInUse(store.placeOf(*entity.volume))) {
            throw VolumeBusyError("\"" + store.placeOf(*entity.volume).string() + "\" is in use");
        }
    }
}

} // namespace

std::string DiskImageTool::attach(const fs::path& path) const {
    OpenImage image = openImage(path);
    VolumeStore store(volumes_);
    const auto attached = std::ranges::find(store.records(), image.identity, &MountRecord::image);
    if (attached != store.records().end()) {
        if (store.isIntact(*attached)) {
            return attachedTable(*attached, volumes_);
        }
        refuseWhenBusy(store, *attached);
        store.remove(std::string(attached->id));
    }
    MountRecord record{.id = randomUuid(), .firstDisk = freeDisk(store.records()), .image = image.identity};
    try {
        const Descriptor again(::fcntl(image.file.get(), F_DUPFD_CLOEXEC, 0));
        const std::size_t leftOut = prepareVolumes(std::move(image.file), store.prepare(record.id), record);
        if (identityOf(image.identity.path, statusOf(again, path)) != image.identity) {
            throw DiskImageError("the image changed while it was read");
        }
        store.publish(record);
        if (leftOut != 0) {
            std::cerr << "hdiutil: extended attributes left out: " << leftOut << "\n";
        }
    } catch (...) {
        discard(store, record.id);
        throw;
    }
    return attachedTable(store.records().back(), volumes_);
}

void DiskImageTool::detach(const fs::path& mountPoint) const {
    if (VolumeStore::isThere(volumes_)) {
        VolumeStore store(volumes_);
        if (const MountRecord* const record = store.imageAt(mountPoint)) {
            refuseWhenBusy(store, *record);
            store.remove(std::string(record->id));
            return;
        }
    }
    throw DiskImageError("\"" + shown(mountPoint.string()) + "\" is not a mounted volume of an image");
}

std::string DiskImageTool::info() const {
    if (!VolumeStore::isThere(volumes_)) {
        return imageTable({}, volumes_);
    }
    return imageTable(VolumeStore(volumes_).records(), volumes_);
}

} // namespace InstallerCore
