#include "InstallerCore/support/PlatformError.h"
#include "hosts/linux/diskimage/UdifImage.h"
#include "tests/hosts/linux/diskimage/HandmadeImage.h"
#include "tests/support/Expect.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace InstallerCore {

namespace {

using namespace Testing;

constexpr std::size_t runTable = Field::tableHeaderSize;

const std::vector<RunKind> ownKinds{RunKind::raw, RunKind::zlib, RunKind::bzip2, RunKind::lzma};

HandmadeImage imageOf(RunKind kind, const std::string& decoded) {
    HandmadeImage image;
    image.add({{.kind = kind, .decoded = decoded}});
    return image;
}

void expectNotDecoded(const std::string& text, const HandmadeImage& image) {
    const std::string file = image.file();
    expectRefusal(text, [&] { static_cast<void>(decode(file)); });
}

TEST(UdifDecodingTest, EveryKindDecodesToTheDisk) {
    const HandmadeImage image = imageOfAllKinds();
    EXPECT_EQ(decode(image.file()), image.disk);
}

TEST(UdifDecodingTest, ChecksumsOfTheStoredDataHoldToo) {
    HandmadeImage image = imageOfAllKinds();
    image.hasDataChecksum = true;
    std::string file = image.file();
    EXPECT_EQ(decode(file), image.disk);
    file[image.data.size() - 1] = static_cast<char>(file[image.data.size() - 1] ^ 1);
    expectRefusal("the checksum of the stored data does not match", [&] { static_cast<void>(decode(file)); });
}

TEST(UdifDecodingTest, TheDataMayBeginBehindOtherBytes) {
    HandmadeImage image = imageOfAllKinds();
    image.hasDataChecksum = true;
    const std::string before = "something else";
    std::string file = before + image.file();
    const std::size_t trailer = file.size() - Field::trailerSize;
    putNumber(file, trailer + 24, 8, before.size());
    putNumber(file, trailer + 216, 8, before.size() + image.data.size());
    EXPECT_EQ(decode(file), image.disk);
}

TEST(UdifDecodingTest, AnythingThatIsStoredMayLieAnywhere) {
    HandmadeImage image;
    image.add({{.kind = RunKind::zlib, .decoded = sampleSectors(4)},
               {.kind = RunKind::raw, .decoded = sampleSectors(2, 1)}});
    const std::size_t first = storedAs(RunKind::zlib, sampleSectors(4)).size();
    image.data = sampleSectors(2, 1) + storedAs(RunKind::zlib, sampleSectors(4));
    ASSERT_NE(first, 1024U);
    putNumber(image.tables[0], runTable + 24, 8, 1024);
    putNumber(image.tables[0], runTable + Field::runSize + 24, 8, 0);
    EXPECT_EQ(decode(image.file()), image.disk);
}

TEST(UdifDecodingTest, LargeImagesOfManyRunsDecode) {
    HandmadeImage image;
    std::vector<HandmadeImage::Part> parts;
    for (unsigned number = 0; number < 60; ++number) {
        const RunKind kind = ownKinds[number % ownKinds.size()];
        parts.push_back({.kind = kind, .decoded = sampleSectors(64 + number % 3, number)});
        parts.push_back(
            {.kind = number % 2 == 0 ? RunKind::zeroFill : RunKind::ignore, .decoded = zeroSectors(9)});
    }
    parts.push_back({.kind = RunKind::raw, .decoded = sampleSectors(5000, 99)}); // more than a piece
    image.add(parts);
    image.hasDataChecksum = true;
    EXPECT_TRUE(decode(image.file()) == image.disk);
}

TEST(UdifDecodingTest, AChecksumThatDoesNotMatchNamesThePartition) {
    for (const std::size_t index : {0U, 1U, 2U}) {
        HandmadeImage image = imageOfAllKinds();
        image.tables[index][75] = static_cast<char>(image.tables[index][75] ^ 1);
        image.sumTables();
        expectNotDecoded("the checksum of partition " + std::to_string(index + 1) + " does not match", image);
    }
}

TEST(UdifDecodingTest, ZeroFillCountsForTheChecksumAndIgnoredSectorsDoNot) {
    for (const std::size_t run : {1U, 3U}) {
        HandmadeImage image = imageOfAllKinds();
        const std::uint64_t otherKind = run == 1 ? 2 : 0;
        putNumber(image.tables[1], runTable + run * Field::runSize, 4, otherKind);
        expectNotDecoded("the checksum of partition 2 does not match", image);
    }
}

TEST(UdifDecodingTest, OneFlippedByteInARunIsRefused) {
    for (const RunKind kind : ownKinds) {
        SCOPED_TRACE(static_cast<std::uint32_t>(kind));
        HandmadeImage image = imageOf(kind, sampleSectors(8));
        char& byte = image.data[image.data.size() / 2];
        byte = static_cast<char>(byte ^ 0x10);
        EXPECT_THROW(static_cast<void>(decode(image.file())), DiskImageError);
    }
}

// A few bits of the compressed formats mean nothing: then the disk is what it was.
TEST(UdifDecodingTest, NoFlippedByteChangesTheDisk) {
    for (const RunKind kind : ownKinds) {
        const HandmadeImage image = imageOf(kind, sampleSectors(2));
        std::size_t refused = 0;
        for (std::size_t at = 0; at < image.data.size(); ++at) {
            HandmadeImage damaged = image;
            damaged.data[at] = static_cast<char>(damaged.data[at] ^ (1 << at % 8));
            try {
                EXPECT_EQ(decode(damaged.file()), image.disk) << at;
            } catch (const DiskImageError&) {
                ++refused;
            }
        }
        EXPECT_GT(refused, image.data.size() * 9 / 10);
    }
}

TEST(UdifDecodingTest, ARunDecodesToExactlyItsSectors) {
    for (const RunKind kind : {RunKind::zlib, RunKind::bzip2, RunKind::lzma}) {
        for (const std::size_t sectors : {3U, 5U}) {
            SCOPED_TRACE(std::to_string(static_cast<std::uint32_t>(kind)) + ", " + std::to_string(sectors));
            HandmadeImage image = imageOf(kind, sampleSectors(4));
            image.disk.resize(sectors * 512);
            putNumber(image.tables[0], 16, 8, sectors);
            putNumber(image.tables[0], runTable + 16, 8, sectors);
            expectNotDecoded("the disk image has a damaged run at sector 0", image);
        }
    }
}

TEST(UdifDecodingTest, ARunUsesUpWhatIsStored) {
    for (const RunKind kind : {RunKind::zlib, RunKind::bzip2, RunKind::lzma}) {
        for (const int surplus : {-1, 1, 4}) {
            SCOPED_TRACE(std::to_string(static_cast<std::uint32_t>(kind)) + ", " + std::to_string(surplus));
            HandmadeImage image = imageOf(kind, sampleSectors(4));
            const std::size_t length = image.data.size();
            image.data += "more";
            putNumber(image.tables[0], runTable + 32, 8, length + static_cast<std::uint64_t>(surplus));
            expectNotDecoded("the disk image has a damaged run at sector 0", image);
        }
    }
}

TEST(UdifDecodingTest, ARunThatIsNotWhatItSaysIsRefused) {
    for (const RunKind stored : ownKinds) {
        for (const RunKind declared : {RunKind::zlib, RunKind::bzip2, RunKind::lzma}) {
            if (stored != declared) {
                HandmadeImage image = imageOf(stored, sampleSectors(4));
                putNumber(image.tables[0], runTable, 4, static_cast<std::uint32_t>(declared));
                expectNotDecoded("the disk image has a damaged run at sector 0", image);
            }
        }
    }
}

TEST(UdifDecodingTest, EmptyRunsOfZerosAreNothingAndEmptyCompressedOnesAreDamaged) {
    HandmadeImage image;
    image.add({{.kind = RunKind::zeroFill, .decoded = ""},
               {.kind = RunKind::raw, .decoded = sampleSectors(1)},
               {.kind = RunKind::raw, .decoded = ""},
               {.kind = RunKind::ignore, .decoded = ""}});
    EXPECT_EQ(decode(image.file()), image.disk);
    for (const RunKind kind : {RunKind::zlib, RunKind::bzip2, RunKind::lzma}) {
        HandmadeImage empty = image;
        putNumber(empty.tables[0], runTable, 4, static_cast<std::uint32_t>(kind));
        expectNotDecoded("the disk image has a damaged run at sector 0", empty);
    }
}

TEST(UdifDecodingTest, ABombIsRefused) {
    // 64 MiB of zeros, stored in a run that declares a single sector.
    HandmadeImage image = imageOf(RunKind::zlib, zeroSectors(131'072));
    ASSERT_LT(image.data.size(), 100'000U);
    putNumber(image.tables[0], 16, 8, 1);
    putNumber(image.tables[0], runTable + 16, 8, 1);
    image.disk.resize(512);
    expectNotDecoded("the disk image has a damaged run at sector 0", image);
}

TEST(UdifDecodingTest, ADiskThatIsLargerThanTheVolumeIsRefusedAndNothingIsWritten) {
    HandmadeImage image = imageOf(RunKind::zeroFill, zeroSectors(1));
    constexpr std::uint64_t sectors = std::uint64_t{1} << 53U;
    putNumber(image.tables[0], 16, 8, sectors);
    putNumber(image.tables[0], runTable + 16, 8, sectors);
    std::string file = image.file();
    putNumber(file, file.size() - Field::trailerSize + 492, 8, sectors);
    const TemporaryDirectory directory;
    const Descriptor disk(::open((directory / "disk").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    expectRefusal(
        "the disk image expands to 4611686018427387904 bytes, which is more than the volume has free",
        [&] { UdifImage(fileOf(file)).decodeTo(disk.get()); });
    EXPECT_EQ(readFile(directory / "disk"), "");
}

TEST(UdifDecodingTest, ZerosBecomeHoles) {
    HandmadeImage image;
    constexpr std::size_t sectors = 8192; // 4 MiB
    image.add({{.kind = RunKind::zeroFill, .decoded = zeroSectors(sectors)},
               {.kind = RunKind::zlib, .decoded = zeroSectors(sectors)},
               {.kind = RunKind::raw, .decoded = sampleSectors(8)},
               {.kind = RunKind::raw, .decoded = zeroSectors(sectors)}});
    const TemporaryDirectory directory;
    const Descriptor disk(::open((directory / "disk").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    UdifImage(fileOf(image.file())).decodeTo(disk.get());
    EXPECT_TRUE(readFile(directory / "disk") == image.disk);
    struct stat status{};
    ASSERT_EQ(::fstat(disk.get(), &status), 0);
    EXPECT_LT(status.st_blocks, 1024);
}

TEST(UdifDecodingTest, AFileThatCannotBeWrittenIsThePlatformsError) {
    const UdifImage image(fileOf(imageOfAllKinds().file()));
    const TemporaryDirectory directory;
    writeFile(directory / "disk", "");
    const Descriptor disk(::open((directory / "disk").c_str(), O_RDONLY | O_CLOEXEC));
    expectPlatformError(FileErrorCode::writeUnknown, [&] { image.decodeTo(disk.get()); });
    expectPlatformError(FileErrorCode::writeUnknown, [&] { image.decodeTo(-1); });
}

TEST(UdifDecodingTest, AnImageThatShrinksWhileItIsReadIsRefused) {
    const TemporaryDirectory directory;
    writeFile(directory / "image", imageOfAllKinds().file());
    const UdifImage image(Descriptor(::open((directory / "image").c_str(), O_RDONLY | O_CLOEXEC)));
    std::filesystem::resize_file(directory / "image", 100);
    const Descriptor disk(::open((directory / "disk").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    expectRefusal("the disk image became shorter while it was read", [&] { image.decodeTo(disk.get()); });
}

} // namespace

} // namespace InstallerCore
