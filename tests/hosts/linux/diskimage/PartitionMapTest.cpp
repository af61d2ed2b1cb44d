#include "hosts/linux/diskimage/PartitionMap.h"

#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/posix/Descriptor.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <functional>

namespace InstallerCore {

namespace {

using namespace Testing;
using namespace std::string_literals;

constexpr std::size_t sector = 512;

std::string little(std::uint64_t value, std::size_t size) {
    std::string bytes;
    for (std::size_t index = 0; index < size; ++index) {
        bytes += static_cast<char>(value >> (8 * index) & 0xffU);
    }
    return bytes;
}

std::string big(std::uint64_t value, std::size_t size) {
    const std::string bytes = little(value, size);
    return {bytes.rbegin(), bytes.rend()};
}

std::uint32_t checksum(const std::string& bytes) {
    return static_cast<std::uint32_t>(
        ::crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

void put(std::string& disk, std::size_t offset, const std::string& bytes) {
    disk.replace(offset, bytes.size(), bytes);
}

// "48465300-0000-11AA-AA11-00306543ECAC"
const std::string hfsType = "\x00\x53\x46\x48\x00\x00\xaa\x11\xaa\x11\x00\x30\x65\x43\xec\xac"s;

struct Range {
    std::uint64_t first;
    std::uint64_t last;
};

// 100 sectors with a GUID table of 4 entries.
std::string guidDisk(const std::vector<Range>& partitions,
                     const std::function<void(std::string&)>& spoilHeader = {}) {
    std::string disk(100 * sector, '\0');
    std::string entries(std::size_t{4} * 128, '\0');
    for (std::size_t index = 0; index < partitions.size(); ++index) {
        put(entries, index * 256,
            hfsType + std::string(16, 'u') + little(partitions[index].first, 8) +
                little(partitions[index].last, 8));
    }
    std::string header = "EFI PART"s + little(0x10000, 4) + little(92, 4) + std::string(8, '\0') +
                         little(1, 8) + little(99, 8) + little(4, 8) + little(98, 8) + std::string(16, 'd') +
                         little(2, 8) + little(4, 4) + little(128, 4) + little(checksum(entries), 4);
    if (spoilHeader) {
        spoilHeader(header);
    }
    put(header, 16, little(checksum(header), 4));
    put(disk, sector, header);
    put(disk, 2 * sector, entries);
    return disk;
}

std::string appleEntry(std::uint32_t count, std::uint32_t first, std::uint32_t sectors,
                       const std::string& type) {
    std::string entry = "PM\0\0"s + big(count, 4) + big(first, 4) + big(sectors, 4);
    entry.resize(48, '\0');
    entry += type;
    entry.resize(sector, '\0');
    return entry;
}

DiskLayout layoutOf(const std::string& disk) {
    const TemporaryDirectory directory;
    writeFile(directory / "disk", disk);
    const Descriptor file(::open((directory / "disk").c_str(), O_RDONLY | O_CLOEXEC));
    return readDiskLayout(file.get());
}

std::string errorOf(const std::string& disk) {
    try {
        static_cast<void>(layoutOf(disk));
        return "none";
    } catch (const DiskImageError& error) {
        return error.what();
    }
}

TEST(PartitionMapTest, AGuidTableIsRead) {
    std::string disk = guidDisk({{.first = 10, .last = 19}, {.first = 20, .last = 99}});
    put(disk, 20 * sector + 1024, "HX");
    const DiskLayout layout = layoutOf(disk);
    EXPECT_EQ(layout.scheme, "GUID_partition_scheme");
    ASSERT_EQ(layout.partitions.size(), 2U);
    EXPECT_EQ(layout.partitions[0].type, "48465300-0000-11AA-AA11-00306543ECAC");
    EXPECT_EQ(layout.partitions[0].offset, 5'120);
    EXPECT_EQ(layout.partitions[0].size, 5'120);
    EXPECT_FALSE(layout.partitions[0].volume);
    EXPECT_EQ(layout.partitions[1].volume, VolumeKind::hfsPlus);
}

TEST(PartitionMapTest, ADamagedGuidTableIsRefused) {
    const std::string damaged = "the partition table is damaged";
    const std::string outside = "a partition lies outside the disk";
    EXPECT_EQ(errorOf(guidDisk({{.first = 20, .last = 100}})), outside);
    EXPECT_EQ(errorOf(guidDisk({{.first = 20, .last = 18}})), damaged);
    EXPECT_EQ(errorOf(guidDisk({{.first = 0, .last = UINT64_MAX}})), damaged);
    EXPECT_EQ(errorOf(guidDisk({{.first = UINT64_MAX, .last = UINT64_MAX}})), outside);

    struct Field {
        std::size_t offset;
        std::string value;
        std::string error;
    };

    const Field fields[] = {{12, little(91, 4), damaged},         {12, little(0xffffffff, 4), damaged},
                            {80, little(129, 4), damaged},        {80, little(0xffffffff, 4), damaged},
                            {84, little(0, 4), damaged},          {84, little(256, 4), damaged},
                            {72, little(100, 8), outside},        {72, little(UINT64_MAX, 8), outside},
                            {72, little(1ULL << 55, 8), outside}, {88, little(1, 4), damaged}};
    for (const auto& [offset, value, error] : fields) {
        EXPECT_EQ(errorOf(guidDisk({}, [&](std::string& header) { put(header, offset, value); })), error)
            << offset;
    }
    std::string disk = guidDisk({});
    disk[sector + 20] = 'x';
    EXPECT_EQ(errorOf(disk), damaged) << "the checksum of the header";
}

TEST(PartitionMapTest, AnAppleMapIsRead) {
    std::string disk(100 * sector, '\0');
    put(disk, sector, appleEntry(3, 1, 3, "Apple_partition_map"));
    put(disk, 2 * sector, appleEntry(3, 10, 90, "Apple_HFS"));
    put(disk, 3 * sector, appleEntry(3, 4, 6, "Apple_Free"));
    put(disk, 10 * sector + 1024, "H+");
    const DiskLayout layout = layoutOf(disk);
    EXPECT_EQ(layout.scheme, "Apple_partition_scheme");
    ASSERT_EQ(layout.partitions.size(), 2U);
    EXPECT_EQ(layout.partitions[0].type, "Apple_partition_map");
    EXPECT_EQ(layout.partitions[1].type, "Apple_HFS");
    EXPECT_EQ(layout.partitions[1].offset, 5'120);
    EXPECT_EQ(layout.partitions[1].size, 46'080);
    EXPECT_EQ(layout.partitions[1].volume, VolumeKind::hfsPlus);
}

TEST(PartitionMapTest, ADamagedAppleMapIsRefused) {
    const auto error = [](const std::string& entry) {
        std::string disk(100 * sector, '\0');
        put(disk, sector, entry);
        return errorOf(disk);
    };
    EXPECT_EQ(error(appleEntry(0, 1, 1, "Apple_HFS")), "the partition map is damaged");
    EXPECT_EQ(error(appleEntry(2, 1, 1, "Apple_HFS")), "the partition map is damaged");
    EXPECT_EQ(error(appleEntry(0xffffffff, 1, 1, "Apple_HFS")), "the partition map is damaged");
    EXPECT_EQ(error(appleEntry(1, 1, 100, "Apple_HFS")), "a partition lies outside the disk");
    EXPECT_EQ(error(appleEntry(1, 0xffffffff, 0xffffffff, "Apple_HFS")), "a partition lies outside the disk");
    EXPECT_EQ(error(appleEntry(1, 1, 9, "Apple\xff")), "the partition map is damaged");
    EXPECT_EQ(error(appleEntry(1, 1, 9, "Apple\x01HFS")), "the partition map is damaged");
    EXPECT_EQ(error(appleEntry(1, 99, 1, "Apple_HFS")), "none") << "too small for a volume, and no harm";
}

// Else a small image could be unpacked as often as its map has entries.
TEST(PartitionMapTest, PartitionsThatOverlapAreRefused) {
    const std::string overlap = "two partitions overlap";
    EXPECT_EQ(errorOf(guidDisk({{.first = 10, .last = 19}, {.first = 10, .last = 19}})), overlap);
    EXPECT_EQ(errorOf(guidDisk({{.first = 20, .last = 99}, {.first = 10, .last = 20}})), overlap);
    EXPECT_EQ(errorOf(guidDisk({{.first = 20, .last = 99}, {.first = 10, .last = 19}})), "none");
    std::string disk(100 * sector, '\0');
    put(disk, sector, appleEntry(2, 10, 90, "Apple_HFS"));
    put(disk, 2 * sector, appleEntry(2, 50, 10, "Apple_HFS"));
    EXPECT_EQ(errorOf(disk), overlap);
}

TEST(PartitionMapTest, AVolumeMayFillTheDisk) {
    std::string disk(16 * sector, '\0');
    put(disk, 32, "NXSB");
    const DiskLayout layout = layoutOf(disk);
    EXPECT_EQ(layout.scheme, "");
    ASSERT_EQ(layout.partitions.size(), 1U);
    EXPECT_EQ(layout.partitions[0].type, "Apple_APFS");
    EXPECT_EQ(layout.partitions[0].size, 8'192);
    EXPECT_EQ(layout.partitions[0].volume, VolumeKind::apfs);
    EXPECT_TRUE(layoutOf(std::string(16 * sector, 'x')).partitions.empty());
    EXPECT_EQ(errorOf(std::string(sector, 'x')), "there is no volume in it");
}

} // namespace

} // namespace InstallerCore
