#include "hosts/linux/diskimage/ImageAttachment.h"

#include "hosts/linux/diskimage/DiskFailure.h"
#include "hosts/linux/diskimage/DiskRange.h"
#include "hosts/linux/diskimage/HfsCatalog.h"
#include "hosts/linux/diskimage/ImageTable.h"
#include "hosts/linux/diskimage/PartitionMap.h"
#include "hosts/linux/diskimage/SevenZip.h"
#include "hosts/linux/diskimage/UdifImage.h"
#include "hosts/linux/diskimage/VolumeItems.h"
#include "hosts/linux/diskimage/VolumeRules.h"
#include "hosts/linux/diskimage/VolumeStore.h"
#include "hosts/linux/diskimage/VolumeWriter.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>

namespace InstallerCore {

namespace {

constexpr std::int64_t sectorSize = 512;

// What the kinds of partitions are called in hints.
std::string hintOf(const std::string& type) {
    struct Name {
        std::string_view type;
        const char* hint;
    };

    static constexpr auto names =
        std::to_array<Name>({{.type = "48465300-0000-11AA-AA11-00306543ECAC", .hint = "Apple_HFS"},
                             {.type = "7C3457EF-0000-11AA-AA11-00306543ECAC", .hint = "Apple_APFS"},
                             {.type = "426F6F74-0000-11AA-AA11-00306543ECAC", .hint = "Apple_Boot"},
                             {.type = "C12A7328-F81F-11D2-BA4B-00A0C93EC93B", .hint = "EFI"}});
    for (const Name& name : names) {
        if (type == name.type) {
            return name.hint;
        }
    }
    return type;
}

Descriptor newFile(const std::filesystem::path& path) {
    constexpr mode_t privateFile = 0600;
    Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, privateFile));
    if (file.get() < 0) {
        throwDiskFailure("no room can be made for the volume", errno);
    }
    return file;
}

std::string volumeName(std::string name) {
    if (name.empty()) {
        return "Untitled";
    }
    if (name == "." || name == ".." || name.find('/') != std::string::npos || !isPrintable(name)) {
        throw DiskImageError("the name of the volume, \"" + shown(name) + "\", cannot be one of a directory");
    }
    return name;
}

class Preparation {
public:
    Preparation(const std::filesystem::path& folder, MountRecord& record)
        : folder_(folder), record_(record) {}

    std::size_t decode(Descriptor image) {
        const UdifImage udif(std::move(image));
        const std::filesystem::path path = folder_ / "disk";
        const Descriptor disk = newFile(path);
        udif.decodeTo(disk.get());
        record_.blockCount = udif.size() / sectorSize;

        const DiskLayout layout = readDiskLayout(disk.get());
        const std::string device = nextDisk();
        if (!layout.scheme.empty()) {
            record_.entities.push_back(
                {.device = device, .contentHint = layout.scheme, .unmappedContentHint = layout.scheme});
        }
        for (std::size_t index = 0; index < layout.partitions.size(); ++index) {
            const DiskPartition& partition = layout.partitions[index];
            record_.entities.push_back({.device = layout.scheme.empty() ? device : slice(device, index + 1),
                                        .contentHint = hintOf(partition.type),
                                        .unmappedContentHint = partition.type,
                                        .mountable = partition.volume == VolumeKind::hfsPlus});
            if (partition.volume) {
                prepare(layout.scheme.empty() ? path : carve(disk.get(), partition), partition);
            }
        }
        std::filesystem::remove(path);
        if (!mounted_) {
            throw DiskImageError("there is no volume in it");
        }
        return leftOut_;
    }

private:
    [[nodiscard]] std::string nextDisk() {
        return "/dev/disk" + std::to_string(record_.firstDisk + record_.diskCount++);
    }

    [[nodiscard]] static std::string slice(const std::string& disk, std::size_t number) {
        return disk + "s" + std::to_string(number);
    }

    // 7-Zip reads a volume from the beginning of a file.
    [[nodiscard]] std::filesystem::path carve(int disk, const DiskPartition& partition) const {
        std::filesystem::path path = folder_ / "partition";
        std::filesystem::remove(path);
        copyDiskRange(disk, partition.offset, partition.size, newFile(path).get());
        return path;
    }

    void prepare(const std::filesystem::path& file, const DiskPartition& partition) {
        const VolumeListing listing = parseVolumeListing(listVolume(file, *partition.volume));
        if (*partition.volume == VolumeKind::hfsPlus) {
            const Descriptor volume(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
            layOut(hfsContent(listing, readHfsCatalog(volume.get())), file, partition);
            return;
        }
        prepareContainer(listing, file, partition);
    }

    // The volumes of an APFS container are on a disk of their own.
    void prepareContainer(const VolumeListing& listing, const std::filesystem::path& file,
                          const DiskPartition& partition) {
        constexpr const char* container = "EF57347C-0000-11AA-AA11-00306543ECAC";
        constexpr const char* volume = "41504653-0000-11AA-AA11-00306543ECAC";
        const std::string device = nextDisk();
        record_.entities.push_back(
            {.device = device, .contentHint = container, .unmappedContentHint = container});
        std::size_t number = 0;
        for (const VolumeContent& content : apfsContents(listing)) {
            record_.entities.push_back({.device = slice(device, ++number),
                                        .contentHint = volume,
                                        .unmappedContentHint = volume,
                                        .mountable = true});
            layOut(content, file, partition);
        }
    }

    // The volume of the last entity.
    void layOut(const VolumeContent& content, const std::filesystem::path& file,
                const DiskPartition& partition) {
        checkVolume(content, partition.size);
        const bool hfs = *partition.volume == VolumeKind::hfsPlus;
        record_.entities.back().volume =
            MountedVolume{.name = volumeName(content.name), .kind = hfs ? "hfs" : "apfs"};
        const std::filesystem::path place =
            folder_ / VolumeStore::folderOfVolume(record_.entities.size() - 1);
        const Descriptor directory(::mkdir(place.c_str(), 0700) == 0
                                       ? ::open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)
                                       : -1);
        if (directory.get() < 0) {
            throwDiskFailure("no room can be made for the volume", errno);
        }
        SevenZipStream stream(file, *partition.volume);
        leftOut_ += writeVolume(content, stream, directory.get());
        mounted_ = true;
    }

    const std::filesystem::path& folder_;
    MountRecord& record_;
    std::size_t leftOut_ = 0;
    bool mounted_ = false;
};

} // namespace

std::size_t prepareVolumes(Descriptor image, const std::filesystem::path& folder, MountRecord& record) {
    return Preparation(folder, record).decode(std::move(image));
}

} // namespace InstallerCore
