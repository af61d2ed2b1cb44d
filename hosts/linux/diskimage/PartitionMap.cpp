#include "hosts/linux/diskimage/PartitionMap.h"

#include "InstallerCore/support/Ascii.h"
#include "hosts/linux/BigEndian.h"
#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/linux/diskimage/DiskRange.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace InstallerCore {

namespace {

constexpr std::int64_t sectorSize = 512;
constexpr std::uint32_t mostPartitions = 128;

template <typename Number>
Number littleEndian(ByteView bytes, std::size_t offset) {
    Bytes reversed(bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                   bytes.begin() + static_cast<std::ptrdiff_t>(offset + sizeof(Number)));
    std::ranges::reverse(reversed);
    return bigEndian<Number>(reversed, 0);
}

std::optional<VolumeKind> volumeAt(int disk, std::int64_t offset, std::int64_t size) {
    constexpr std::int64_t hfsHeader = 1024;
    constexpr std::int64_t apfsMagic = 32;
    if (size < hfsHeader + sectorSize) {
        return std::nullopt;
    }
    const Bytes hfs = readDisk(disk, offset + hfsHeader, 2);
    if (asText(hfs) == "H+" || asText(hfs) == "HX") {
        return VolumeKind::hfsPlus;
    }
    const Bytes apfs = readDisk(disk, offset + apfsMagic, 4);
    return asText(apfs) == "NXSB" ? std::optional(VolumeKind::apfs) : std::nullopt;
}

// The partition that these sectors are, once they are known to be on the disk.
DiskPartition partition(int disk, std::string type, std::uint64_t first, std::uint64_t count) {
    const auto sectors = static_cast<std::uint64_t>(sizeOfDisk(disk) / sectorSize);
    if (first > sectors || count > sectors - first) {
        throw DiskImageError("a partition lies outside the disk");
    }
    const auto offset = static_cast<std::int64_t>(first) * sectorSize;
    const auto size = static_cast<std::int64_t>(count) * sectorSize;
    return {.type = std::move(type), .offset = offset, .size = size, .volume = volumeAt(disk, offset, size)};
}

// The first three fields are numbers with the least significant byte first.
std::string guid(ByteView bytes) {
    static constexpr auto order =
        std::to_array<std::size_t>({3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15});
    std::string text;
    for (const std::size_t index : order) {
        text += hexadecimal(bytes.subspan(index, 1));
        if (text.size() == 8 || text.size() == 13 || text.size() == 18 || text.size() == 23) {
            text += '-';
        }
    }
    std::ranges::transform(text, text.begin(), Ascii::upperCase);
    return text;
}

std::uint32_t crc(ByteView bytes) {
    return static_cast<std::uint32_t>(
        ::crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

DiskLayout guidTable(int disk, Bytes header) {
    constexpr std::size_t headerSize = 92;
    constexpr std::size_t headerCrc = 16;
    constexpr std::size_t entrySize = 128;
    const auto expected = littleEndian<std::uint32_t>(header, headerCrc);
    std::fill_n(header.begin() + headerCrc, sizeof(expected), std::byte{0});
    const auto count = littleEndian<std::uint32_t>(header, 80);
    if (littleEndian<std::uint32_t>(header, 12) != headerSize ||
        littleEndian<std::uint32_t>(header, 84) != entrySize || count > mostPartitions ||
        crc(ByteView(header).first(headerSize)) != expected) {
        throw DiskImageError("the partition table is damaged");
    }
    const auto table = littleEndian<std::uint64_t>(header, 72);
    const std::size_t tableSize = count * entrySize;
    static_cast<void>(partition(disk, {}, table, (tableSize + sectorSize - 1) / sectorSize));
    const Bytes entries = readDisk(disk, static_cast<std::int64_t>(table) * sectorSize, tableSize);
    if (crc(entries) != littleEndian<std::uint32_t>(header, 88)) {
        throw DiskImageError("the partition table is damaged");
    }
    DiskLayout layout{.scheme = "GUID_partition_scheme", .partitions = {}};
    for (std::uint32_t index = 0; index < count; ++index) {
        const ByteView entry = ByteView(entries).subspan(index * entrySize, entrySize);
        const auto first = littleEndian<std::uint64_t>(entry, 32);
        const auto last = littleEndian<std::uint64_t>(entry, 40);
        if (std::ranges::all_of(entry.first(16), [](std::byte byte) { return byte == std::byte{0}; })) {
            continue;
        }
        if (last < first || last - first == UINT64_MAX) {
            throw DiskImageError("the partition table is damaged");
        }
        layout.partitions.push_back(partition(disk, guid(entry), first, last - first + 1));
    }
    return layout;
}

std::string paddedText(ByteView bytes) {
    const std::string_view text = asText(bytes);
    return std::string(text.substr(0, text.find('\0')));
}

bool isPrintable(char c) {
    return c >= ' ' && c <= '~';
}

bool isApplePartition(ByteView entry) {
    return asText(entry.first(2)) == "PM";
}

DiskLayout appleMap(int disk, const Bytes& first) {
    const auto count = bigEndian<std::uint32_t>(first, 4);
    if (count == 0 || count > mostPartitions) {
        throw DiskImageError("the partition map is damaged");
    }
    DiskLayout layout{.scheme = "Apple_partition_scheme", .partitions = {}};
    for (std::uint32_t index = 1; index <= count; ++index) {
        const Bytes entry = readDisk(disk, index * sectorSize, sectorSize);
        if (!isApplePartition(entry)) {
            throw DiskImageError("the partition map is damaged");
        }
        const std::string type = paddedText(ByteView(entry).subspan(48, 32));
        if (!std::ranges::all_of(type, isPrintable)) {
            throw DiskImageError("the partition map is damaged");
        }
        if (type != "Apple_Free") {
            layout.partitions.push_back(partition(disk, type, bigEndian<std::uint32_t>(entry, 8),
                                                  bigEndian<std::uint32_t>(entry, 12)));
        }
    }
    return layout;
}

// Else one volume could be unpacked as often as a map has entries.
DiskLayout withoutOverlaps(DiskLayout layout) {
    std::vector<const DiskPartition*> inOrder;
    inOrder.reserve(layout.partitions.size());
    for (const DiskPartition& partition : layout.partitions) {
        inOrder.push_back(&partition);
    }
    std::ranges::sort(inOrder, {}, [](const DiskPartition* partition) { return partition->offset; });
    const auto overlap = [](const DiskPartition* one, const DiskPartition* next) {
        return next->offset < one->offset + one->size;
    };
    if (std::ranges::adjacent_find(inOrder, overlap) != inOrder.end()) {
        throw DiskImageError("two partitions overlap");
    }
    return layout;
}

} // namespace

DiskLayout readDiskLayout(int disk) {
    const std::int64_t size = sizeOfDisk(disk);
    if (size < 4 * sectorSize) {
        throw DiskImageError("there is no volume in it");
    }
    const Bytes second = readDisk(disk, sectorSize, sectorSize);
    if (asText(second).starts_with("EFI PART")) {
        return withoutOverlaps(guidTable(disk, second));
    }
    if (isApplePartition(second)) {
        return withoutOverlaps(appleMap(disk, second));
    }
    const std::optional<VolumeKind> kind = volumeAt(disk, 0, size);
    DiskLayout layout;
    if (kind) {
        const char* const type = *kind == VolumeKind::hfsPlus ? "Apple_HFS" : "Apple_APFS";
        layout.partitions.push_back({.type = type, .offset = 0, .size = size, .volume = kind});
    }
    return layout;
}

} // namespace InstallerCore
