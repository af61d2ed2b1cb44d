#include "hosts/linux/diskimage/UdifTrailer.h"

#include "tests/hosts/linux/diskimage/HandmadeImage.h"

#include <gtest/gtest.h>

#include <limits>

namespace InstallerCore {

namespace {

using namespace Testing;

UdifTrailer parse(const std::string& file) {
    const std::string_view trailer = std::string_view(file).substr(file.size() - UdifTrailer::size);
    return parseTrailer(asBytes(trailer), static_cast<std::int64_t>(file.size()));
}

TEST(UdifTrailerTest, TellsWhereEverythingIs) {
    HandmadeImage image = imageOfAllKinds();
    image.hasDataChecksum = true;
    const std::string file = image.file();
    const UdifTrailer trailer = parse(file);
    EXPECT_EQ(trailer.dataOffset, 0);
    EXPECT_EQ(trailer.dataLength, static_cast<std::int64_t>(image.data.size()));
    EXPECT_EQ(trailer.listOffset, static_cast<std::int64_t>(image.data.size()));
    EXPECT_EQ(trailer.listLength, static_cast<std::int64_t>(image.propertyList().size()));
    EXPECT_EQ(trailer.sectorCount, 22);
    EXPECT_EQ(trailer.masterChecksum, image.masterChecksum);
    EXPECT_TRUE(trailer.dataChecksum.has_value());
}

TEST(UdifTrailerTest, StoredDataNeedsNoChecksum) {
    EXPECT_EQ(parse(imageOfAllKinds().file()).dataChecksum, std::nullopt);
}

TEST(UdifTrailerTest, AnImageThatWasNeverSplitNeedsNoSegment) {
    std::string file = imageOfAllKinds().file();
    const std::size_t trailer = file.size() - UdifTrailer::size;
    putNumber(file, trailer + 56, 8, 0);
    EXPECT_EQ(parse(file).sectorCount, 22);
}

TEST(UdifTrailerTest, EveryDamagedFieldIsRefused) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    constexpr std::uint64_t largestSigned = std::numeric_limits<std::int64_t>::max();
    const std::string unknownVersion = "the disk image is of an unknown version";
    const std::string segment = "the disk image is only one segment of several";
    const std::string data = "the data of the disk image lies outside of the file";
    const std::string list = "the property list of the disk image lies outside of the file";
    const std::string size = "the disk image declares an impossible size";

    const struct {
        std::size_t offset;
        std::size_t width;
        std::uint64_t value;
        std::string text;
    } cases[] = {
        {0, 4, 0, "the disk image has no trailer; it is incomplete or of another format"},
        {0, 4, 0x6b6f6c78, "the disk image has no trailer; it is incomplete or of another format"},
        {4, 4, 3, unknownVersion},
        {4, 4, 5, unknownVersion},
        {8, 4, 511, unknownVersion},
        {8, 4, 0xffffffff, unknownVersion},
        {24, 8, 1U << 20U, data},
        {24, 8, largest, data},
        {24, 8, largestSigned, data},
        {32, 8, 1U << 20U, data},
        {32, 8, largest, data},
        {32, 8, largest - 511, data},
        {56, 4, 0, segment},
        {56, 4, 2, segment},
        {60, 4, 0, segment},
        {60, 4, 2, segment},
        {56, 8, 0x0000000200000002, segment},
        {80, 4, 1, "the checksum of the stored data is of an unknown kind"},
        {80, 8, 0x0000000200000021, "the checksum of the stored data is of an unknown kind"},
        {216, 8, 1U << 20U, list},
        {216, 8, largest, list},
        {224, 8, 0, "the disk image has no property list"},
        {224, 8, 1U << 20U, list},
        {224, 8, largest, list},
        {352, 4, 0, "the disk image has no checksum"},
        {352, 4, 4, "the checksum of the disk image is of an unknown kind"},
        {356, 4, 128, "the checksum of the disk image is of an unknown kind"},
        {492, 8, 0, size},
        {492, 8, largestSigned / 512 + 1, size},
        {492, 8, largest, size},
    };

    const std::string good = imageOfAllKinds().file();
    for (const auto& [offset, width, value, text] : cases) {
        SCOPED_TRACE("field at " + std::to_string(offset) + ": " + std::to_string(value));
        std::string file = good;
        putNumber(file, file.size() - UdifTrailer::size + offset, width, value);
        expectRefusal(text, [&] { static_cast<void>(parse(file)); });
    }
}

TEST(UdifTrailerTest, DataAndListMayReachUpToTheTrailerButNotIntoIt) {
    std::string file = imageOfAllKinds().file();
    const std::size_t trailer = file.size() - UdifTrailer::size;
    putNumber(file, trailer + 32, 8, trailer);
    EXPECT_EQ(parse(file).dataLength, static_cast<std::int64_t>(trailer));
    putNumber(file, trailer + 32, 8, trailer + 1);
    expectRefusal("the data of the disk image lies outside of the file",
                  [&] { static_cast<void>(parse(file)); });
}

} // namespace

} // namespace InstallerCore
