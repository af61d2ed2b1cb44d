#include "rehearsal/UdifWriter.h"

#include "hosts/posix/ProcessesPosix.h"
#include "tests/rehearsal/DescribeTree.h"
#include "tests/rehearsal/UdifReader.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <stdexcept>
#include <string>

namespace InstallerCore {

namespace {

using namespace Rehearsal;
using namespace Testing;
using ::testing::ElementsAre;
using ::testing::Field;

constexpr std::size_t sector = 512;
constexpr std::uint32_t zeroFill = 0;
constexpr std::uint32_t rawRun = 1;
constexpr std::uint32_t ignoreRun = 2;
constexpr std::uint32_t terminator = 0xffffffff;

std::string randomBytes(std::size_t size) {
    std::mt19937 random(7);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

std::string text(std::size_t size) {
    std::string bytes;
    for (std::size_t line = 0; bytes.size() < size; ++line) {
        bytes += "line " + std::to_string(line) + "\n";
    }
    bytes.resize(size);
    return bytes;
}

std::string zeros(std::size_t sectors) {
    return std::string(sectors * sector, '\0');
}

// Eight sectors of each: text, zeros twice, noise, text that ends in zeros; then three sectors more.
std::string mixedDisk() {
    return text(8 * sector) + zeros(16) + randomBytes(8 * sector) + text(7 * sector) + zeros(1) +
           text(3 * sector);
}

std::uint32_t crc(std::string_view bytes) {
    return static_cast<std::uint32_t>(
        crc32_z(crc32_z(0, nullptr, 0), reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

class UdifWriterTest : public ::testing::Test {
protected:
    // Writes the image of a disk with that content.
    void write(std::string_view content, const UdifOptions& options) {
        disk_ = content;
        writeFile(directory_ / "disk", content);
        writeUdif(directory_ / "disk", directory_ / "image.dmg", options);
    }

    void expectRefusal(const UdifOptions& options) {
        EXPECT_THROW(writeUdif(directory_ / "disk", directory_ / "image.dmg", options), std::runtime_error);
        EXPECT_FALSE(std::filesystem::exists(directory_ / "image.dmg"));
    }

    [[nodiscard]] StoredImage stored() const { return readStoredImage(image()); }

    [[nodiscard]] std::filesystem::path image() const { return directory_ / "image.dmg"; }

    // What the other readers make of the image.

    [[nodiscard]] std::string bySevenZip() const {
        return outputOf("/usr/bin/7zz", {"e", "-so", "-bd", "-tdmg", image()});
    }

    [[nodiscard]] std::string byDmg2img() const {
        (void)outputOf("/usr/bin/dmg2img", {"-s", image(), directory_ / "converted"});
        return readFile(directory_ / "converted");
    }

    [[nodiscard]] std::string byQemu() const {
        (void)outputOf("/usr/bin/qemu-img",
                       {"convert", "-f", "dmg", "-O", "raw", image(), directory_ / "converted"});
        return readFile(directory_ / "converted");
    }

    TemporaryDirectory directory_;
    std::string disk_;
};

TEST_F(UdifWriterTest, OtherReadersDecodeZlib) {
    write(mixedDisk(), {.compression = UdifCompression::zlib, .runSectors = 8});
    EXPECT_TRUE(bySevenZip() == disk_);
    EXPECT_TRUE(byDmg2img() == disk_);
    EXPECT_TRUE(byQemu() == disk_);
}

TEST_F(UdifWriterTest, OtherReadersDecodeBzip2) {
    write(mixedDisk(), {.compression = UdifCompression::bzip2, .runSectors = 8});
    EXPECT_TRUE(bySevenZip() == disk_);
    EXPECT_TRUE(byDmg2img() == disk_);
}

TEST_F(UdifWriterTest, AnotherReaderDecodesLzma) {
    write(mixedDisk(), {.compression = UdifCompression::lzma, .runSectors = 8});
    EXPECT_TRUE(bySevenZip() == disk_);
}

TEST_F(UdifWriterTest, OtherReadersDecodeRawRuns) {
    write(mixedDisk(), {.compression = UdifCompression::raw, .runSectors = 8});
    EXPECT_TRUE(bySevenZip() == disk_);
    EXPECT_TRUE(byDmg2img() == disk_);
    EXPECT_TRUE(byQemu() == disk_);
}

TEST_F(UdifWriterTest, OtherReadersDecodeEachKindOfZeros) {
    for (const UdifZeros kind : {UdifZeros::filled, UdifZeros::ignored, UdifZeros::stored}) {
        SCOPED_TRACE(static_cast<int>(kind));
        write(mixedDisk(), {.zeros = kind, .runSectors = 8});
        EXPECT_TRUE(bySevenZip() == disk_);
        EXPECT_TRUE(byQemu() == disk_);
    }
}

TEST_F(UdifWriterTest, ManyRunsComeInOrder) {
    write(text(3000 * sector), {.runSectors = 1});
    EXPECT_EQ(stored().tables[0].runs.size(), 3001U);
    EXPECT_TRUE(bySevenZip() == disk_);
}

TEST_F(UdifWriterTest, AnotherReaderSeesDamageInTheCompressedRuns) {
    write(mixedDisk(), {.runSectors = 8});
    std::string content = readFile(image());
    content[10] = static_cast<char>(content[10] ^ 1);
    writeFile(image(), content);
    const ProcessResult result =
        ProcessesPosix().run("/usr/bin/7zz", {"t", "-tdmg", image()}, Processes::ErrorOutput::discarded);
    EXPECT_NE(result.status, 0);
}

struct RunCase {
    UdifCompression compression;
    std::uint32_t kind;
};

TEST_F(UdifWriterTest, EachRunHasTheKindThatFitsItsContent) {
    const RunCase cases[] = {{UdifCompression::raw, rawRun},
                             {UdifCompression::zlib, 0x80000005},
                             {UdifCompression::bzip2, 0x80000006},
                             {UdifCompression::lzma, 0x80000008}};
    for (const auto& [compression, kind] : cases) {
        SCOPED_TRACE(kind);
        write(mixedDisk(), {.compression = compression, .runSectors = 8});
        const auto runs = stored().tables.at(0).runs;
        const auto is = [](std::uint32_t expected) { return Field(&StoredRun::kind, expected); };
        // The zeros are one run, and the noise does not shrink.
        EXPECT_THAT(runs,
                    ElementsAre(is(kind), is(zeroFill), is(rawRun), is(kind), is(kind), is(terminator)));
    }
}

TEST_F(UdifWriterTest, RunsFollowOneAnotherOnTheDiskAndInTheFile) {
    write(mixedDisk(), {.runSectors = 8});
    const StoredImage image = stored();
    std::uint64_t nextSector = 0;
    std::uint64_t nextByte = 0;
    for (const StoredRun& run : image.tables.at(0).runs) {
        EXPECT_EQ(run.firstSector, nextSector);
        EXPECT_EQ(run.offset, nextByte);
        nextSector += run.sectorCount;
        nextByte += run.length;
    }
    EXPECT_EQ(nextSector * sector, disk_.size());
    EXPECT_EQ(nextByte, image.runsLength);
    EXPECT_EQ(image.sectorCount, nextSector);
    EXPECT_EQ(image.tables[0].sectorCount, nextSector);
    EXPECT_EQ(image.tables[0].runs.back().kind, terminator);
}

TEST_F(UdifWriterTest, TheTablesChecksumCoversAllThatIsDecoded) {
    write(mixedDisk(), {.runSectors = 8});
    EXPECT_EQ(stored().tables[0].checksum, crc(disk_));
}

TEST_F(UdifWriterTest, TheTablesChecksumLeavesIgnoredRunsOut) {
    write(mixedDisk(), {.zeros = UdifZeros::ignored, .runSectors = 8});
    EXPECT_EQ(stored().tables[0].runs[1].kind, ignoreRun);
    EXPECT_EQ(stored().tables[0].checksum, crc(disk_.substr(0, 8 * sector) + disk_.substr(24 * sector)));
}

TEST_F(UdifWriterTest, TheChecksumOfTheRunsCoversThemAsStored) {
    write(mixedDisk(), {.runSectors = 8});
    const StoredImage image = stored();
    EXPECT_EQ(image.runsChecksum, crc(readFile(this->image()).substr(0, image.runsLength)));
}

TEST_F(UdifWriterTest, PartitionsHaveTablesOfTheirOwnAndTheMasterChecksumCoversTheseInOrder) {
    const std::string map = text(4 * sector);
    const std::string volume = mixedDisk();
    write(map + volume, {.runSectors = 8,
                         .partitions = {{"Apple (Apple_partition_map : 1)", 0, 4},
                                        {"<disk> & image (Apple_HFS : 2)", 4, volume.size() / sector}}});
    const StoredImage image = stored();
    ASSERT_EQ(image.tables.size(), 2U);
    EXPECT_EQ(image.tables[0].checksum, crc(map));
    EXPECT_EQ(image.tables[1].name, "<disk> & image (Apple_HFS : 2)");
    EXPECT_EQ(image.tables[1].firstSector, 4U);
    EXPECT_EQ(image.tables[1].checksum, crc(volume));
    std::string checksums;
    for (const StoredTable& table : image.tables) {
        for (const unsigned shift : {24U, 16U, 8U, 0U}) {
            checksums += static_cast<char>(table.checksum >> shift);
        }
    }
    EXPECT_EQ(image.masterChecksum, crc(checksums));
    EXPECT_TRUE(byDmg2img() == disk_);
    EXPECT_TRUE(byQemu() == disk_);
}

TEST_F(UdifWriterTest, LongStretchesOfZerosAreCut) {
    constexpr std::uint64_t sectors = 131072 + 2048;
    writeFile(directory_ / "disk", "");
    std::filesystem::resize_file(directory_ / "disk", sectors * sector);
    writeUdif(directory_ / "disk", image(), {});
    const auto runs = stored().tables.at(0).runs;
    const auto holds = [](std::uint64_t expected) { return Field(&StoredRun::sectorCount, expected); };
    EXPECT_THAT(runs, ElementsAre(holds(131072), holds(2048), holds(0)));
}

TEST_F(UdifWriterTest, TheSameInputGivesTheSameBytes) {
    for (const UdifCompression compression :
         {UdifCompression::raw, UdifCompression::zlib, UdifCompression::bzip2, UdifCompression::lzma}) {
        write(mixedDisk(), {.compression = compression, .runSectors = 2});
        const std::string first = readFile(image());
        write(mixedDisk(), {.compression = compression, .runSectors = 2});
        EXPECT_TRUE(readFile(image()) == first);
    }
}

TEST_F(UdifWriterTest, ADiskThatIsMissingOrEmptyOrNoWholeSectorsIsRefused) {
    expectRefusal({});
    writeFile(directory_ / "disk", "");
    expectRefusal({});
    writeFile(directory_ / "disk", std::string(sector + 1, 'x'));
    expectRefusal({});
}

TEST_F(UdifWriterTest, PartitionsThatDoNotCoverTheDiskAreRefused) {
    writeFile(directory_ / "disk", text(4 * sector));
    expectRefusal({.partitions = {{"a", 0, 3}}});
    expectRefusal({.partitions = {{"a", 0, 5}}});
    expectRefusal({.partitions = {{"a", 1, 3}}});
    expectRefusal({.partitions = {{"a", 0, 1}, {"b", 2, 2}}});
    expectRefusal({.partitions = {{"a", 0, 2}, {"b", 1, 3}}});
    expectRefusal({.partitions = {{"a", 0, 0}, {"b", 0, 4}}});
}

TEST_F(UdifWriterTest, RunsOfNoSectorsAreRefused) {
    writeFile(directory_ / "disk", text(4 * sector));
    expectRefusal({.runSectors = 0});
}

} // namespace

} // namespace InstallerCore
