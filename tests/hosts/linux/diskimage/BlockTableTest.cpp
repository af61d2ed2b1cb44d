#include "hosts/linux/diskimage/BlockTable.h"

#include "hosts/linux/diskimage/UdifTrailer.h"
#include "tests/hosts/linux/diskimage/HandmadeImage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace InstallerCore {

namespace {

using namespace Testing;
using ::testing::ElementsAre;
using ::testing::Field;

constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

// Of a disk and a data fork that are just large enough.
UdifTrailer trailerOf(const HandmadeImage& image) {
    return {.dataOffset = 1000,
            .dataLength = static_cast<std::int64_t>(image.data.size()),
            .listOffset = 0,
            .listLength = 0,
            .sectorCount = static_cast<std::int64_t>(image.disk.size()) / sectorSize,
            .dataChecksum = std::nullopt,
            .masterChecksum = 0};
}

std::size_t runField(std::size_t run, std::size_t field) {
    return Testing::Field::tableHeaderSize + run * Testing::Field::runSize + field;
}

TEST(BlockTableTest, RunsFollowEachOtherOnTheDisk) {
    const HandmadeImage image = imageOfAllKinds();
    const BlockTable table = parseBlockTable(asBytes(image.tables[1]), trailerOf(image), "it");
    EXPECT_EQ(table.firstSector, 1);
    EXPECT_EQ(table.sectorCount, 20);
    EXPECT_THAT(table.runs,
                ElementsAre(Field(&Run::kind, RunKind::zlib), Field(&Run::kind, RunKind::zeroFill),
                            Field(&Run::kind, RunKind::bzip2), Field(&Run::kind, RunKind::ignore),
                            Field(&Run::kind, RunKind::lzma)));
    EXPECT_THAT(table.runs, ElementsAre(Field(&Run::firstSector, 1), Field(&Run::firstSector, 6),
                                        Field(&Run::firstSector, 9), Field(&Run::firstSector, 13),
                                        Field(&Run::firstSector, 15)));
    EXPECT_EQ(table.runs.front().storedAt, 1000 + 512);
}

TEST(BlockTableTest, TheOffsetOfTheTableCounts) {
    HandmadeImage image = imageOfAllKinds();
    std::string& table = image.tables[0];
    putNumber(table, 24, 8, 100);
    EXPECT_EQ(parseBlockTable(asBytes(table), trailerOf(image), "it").runs.front().storedAt, 1000 + 100);
}

TEST(BlockTableTest, CommentsAreSkipped) {
    HandmadeImage image = imageOfAllKinds();
    std::string& table = image.tables[0];
    table.insert(Testing::Field::tableHeaderSize, Testing::Field::runSize, '\xff');
    putNumber(table, runField(0, 0), 4, 0x7ffffffe);
    putNumber(table, 200, 4, 3);
    EXPECT_EQ(parseBlockTable(asBytes(table), trailerOf(image), "it").runs.size(), 1U);
}

TEST(BlockTableTest, NothingStoredNeedsNoPlace) {
    HandmadeImage image = imageOfAllKinds();
    std::string& table = image.tables[1];
    for (const std::size_t run : {1U, 3U, 5U}) { // zero-fill, ignore, terminator
        putNumber(table, runField(run, 24), 8, largest);
        putNumber(table, runField(run, 32), 8, largest);
    }
    EXPECT_EQ(parseBlockTable(asBytes(table), trailerOf(image), "it").runs.size(), 5U);
}

TEST(BlockTableTest, EveryDamagedFieldIsRefused) {
    const std::string beyondDisk = "it reaches beyond the end of the disk";
    const std::string outside = "it is stored outside of the data";
    const std::string count = "it has a block table of another length than it says";
    const std::string beyondTable = "it has a run that reaches beyond its end";
    const std::string order = "it has runs that overlap or leave a gap";

    const struct {
        std::size_t offset;
        std::size_t width;
        std::uint64_t value;
        std::string text;
    } cases[] = {
        {0, 4, 0, "it has no block table"},
        {4, 4, 2, "it has a block table of an unknown version"},
        {8, 8, 3, beyondDisk},
        {8, 8, largest, beyondDisk},
        {16, 8, 22, beyondDisk},
        {16, 8, largest, beyondDisk},
        {16, 8, 21, "it is not filled by its runs"},
        {16, 8, 19, beyondTable},
        {24, 8, largest, outside},
        {24, 8, 1U << 20U, outside},
        {64, 4, 0, "it has no checksum"},
        {64, 4, 1, "the checksum of it is of an unknown kind"},
        {68, 4, 16, "the checksum of it is of an unknown kind"},
        {200, 4, 0, count},
        {200, 4, 5, count},
        {200, 4, 7, count},
        {200, 4, 0xffffffff, count},
        {runField(0, 0), 4, 3, "it has a run of an unknown kind"},
        {runField(0, 0), 4, 0x80000003, "it has a run of an unknown kind"},
        {runField(0, 0), 4, 0x80000009, "it has a run of an unknown kind"},
        {runField(0, 0), 4, 0xffffffff, "it has runs behind the last one"},
        {runField(5, 0), 4, 0x7ffffffe, "it has no last run"},
        {runField(0, 0), 4, 1, "it has a raw run of another length than it says"},
        {runField(0, 8), 8, 1, order},
        {runField(0, 8), 8, largest, beyondTable},
        {runField(1, 8), 8, 4, order},
        {runField(1, 8), 8, 6, order},
        {runField(1, 8), 8, 18, beyondTable},
        {runField(0, 16), 8, 4, order},
        {runField(0, 16), 8, 6, order},
        {runField(0, 16), 8, 21, beyondTable},
        {runField(0, 16), 8, largest, beyondTable},
        {runField(4, 16), 8, 5, "it is not filled by its runs"},
        {runField(4, 16), 8, 0, "it is not filled by its runs"},
        {runField(0, 24), 8, 1U << 20U, outside},
        {runField(0, 24), 8, largest, outside},
        {runField(0, 32), 8, 1U << 20U, outside},
        {runField(0, 32), 8, largest, outside},
    };

    const HandmadeImage image = imageOfAllKinds();
    for (const auto& [offset, width, value, text] : cases) {
        SCOPED_TRACE("field at " + std::to_string(offset) + ": " + std::to_string(value));
        std::string table = image.tables[1];
        putNumber(table, offset, width, value);
        expectRefusal(text,
                      [&] { static_cast<void>(parseBlockTable(asBytes(table), trailerOf(image), "it")); });
    }
}

TEST(BlockTableTest, ATableThatIsCutShortIsRefused) {
    const HandmadeImage image = imageOfAllKinds();
    const std::string& table = image.tables[1];
    for (std::size_t length = 0; length < table.size(); ++length) {
        const std::string text = length < Testing::Field::tableHeaderSize
                                     ? "it has no block table"
                                     : "it has a block table of another length than it says";
        expectRefusal(text, [&] {
            static_cast<void>(parseBlockTable(asBytes(table).first(length), trailerOf(image), "it"));
        });
    }
}

// A table of one run, in an image that is large enough for it.
BlockTable tableOfOneRun(RunKind kind, std::uint64_t sectors, std::uint64_t storedLength) {
    HandmadeImage image;
    image.add({{.kind = kind, .decoded = sampleSectors(1)}});
    std::string& table = image.tables[0];
    putNumber(table, 16, 8, sectors);
    putNumber(table, runField(0, 16), 8, sectors);
    putNumber(table, runField(0, 32), 8, storedLength);
    UdifTrailer trailer = trailerOf(image);
    trailer.dataLength = std::int64_t{1} << 40U;
    trailer.sectorCount = std::int64_t{1} << 40U;
    return parseBlockTable(asBytes(table), trailer, "it");
}

TEST(BlockTableTest, ACompressedRunHasToFitIntoMemory) {
    const std::string text = "it has a run that is too long";
    constexpr std::uint64_t mostSectors = 131'072;
    constexpr std::uint64_t mostStored = 68U << 20U;
    for (const RunKind kind : {RunKind::adc, RunKind::zlib, RunKind::bzip2, RunKind::lzfse, RunKind::lzma}) {
        EXPECT_EQ(tableOfOneRun(kind, mostSectors, mostStored).runs.size(), 1U);
        expectRefusal(text, [&] { static_cast<void>(tableOfOneRun(kind, mostSectors + 1, 1)); });
        expectRefusal(text, [&] { static_cast<void>(tableOfOneRun(kind, 1, mostStored + 1)); });
    }
}

TEST(BlockTableTest, ARawRunMayBeAsLongAsTheDisk) {
    constexpr std::uint64_t sectors = std::uint64_t{1} << 30U;
    EXPECT_EQ(tableOfOneRun(RunKind::raw, sectors, sectors * 512).runs.front().sectorCount, 1 << 30);
    expectRefusal("it has a raw run of another length than it says",
                  [&] { static_cast<void>(tableOfOneRun(RunKind::raw, sectors, sectors * 512 - 1)); });
}

} // namespace

} // namespace InstallerCore
