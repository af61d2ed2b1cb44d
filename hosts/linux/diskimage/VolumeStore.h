#pragma once

#include "hosts/linux/diskimage/MountRecord.h"
#include "hosts/posix/Descriptor.h"

#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore {

// The attached images of one volumes directory, for as long as the object lives: it holds a lock, for which
// it waits.
//
// Everything but the volumes themselves is in `.images` there (mode 0700): the lock; for each image a record;
// and a folder `<id>`, where volumes are prepared and taken apart. The record is called `<id>.moving` from
// before the first volume appears until the last one is there, and from before the first one goes until all
// is gone; between the two it is `<id>.attached`. So a process that was killed leaves either a whole attached
// image or one that the next store clears away, and never a part of a volume under its name. What is in
// `.images` beside that is cleared, too.
//
// Throws DiskImageError when something cannot be done; PlatformError of the file domain for records.
class VolumeStore {
public:
    // An absolute path without links. The directory is made when it is not there.
    explicit VolumeStore(std::filesystem::path volumes);

    // Whether anything was ever attached there.
    [[nodiscard]] static bool isThere(const std::filesystem::path& volumes);

    // The attached images.
    [[nodiscard]] const std::vector<MountRecord>& records() const { return records_; }

    // Whether all volumes of the image are still where they were put.
    [[nodiscard]] bool isIntact(const MountRecord& record) const;

    // The image that has this directory as a volume, or null. The last component may not be a link to it.
    [[nodiscard]] const MountRecord* imageAt(const std::filesystem::path& mountPoint) const;

    [[nodiscard]] std::filesystem::path placeOf(const MountedVolume& volume) const {
        return volumes_ / volume.name;
    }

    // A new, empty folder to prepare the volumes of an image in.
    [[nodiscard]] std::filesystem::path prepare(const std::string& id);

    // Lets the volumes appear: each is `tree` in the folder of prepare() that this gives for its place in the
    // order of the entities. Takes the wanted names and puts those in their places that were free.
    [[nodiscard]] static std::string folderOfVolume(std::size_t entity);
    void publish(MountRecord record);

    // Removes the image with all that belongs to it, in whatever state it is.
    void remove(const std::string& id);

private:
    void repair();
    void save(const MountRecord& record) const;
    void show(MountRecord& record, std::size_t entity) const;
    void hide(const MountRecord& record) const;
    [[nodiscard]] bool isAt(const MountedVolume& volume, const std::string& name) const;
    [[nodiscard]] bool isRootOf(const MountedVolume& volume, const struct stat& status) const;

    std::filesystem::path volumes_;
    Descriptor directory_;
    Descriptor state_;
    Descriptor lock_;
    std::vector<MountRecord> records_;
};

} // namespace InstallerCore
