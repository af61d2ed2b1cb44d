#include "hosts/linux/diskimage/UdifImage.h"

#include "InstallerCore/support/PlatformError.h"
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

constexpr const char* noTrailer = "the disk image has no trailer; it is incomplete or of another format";
constexpr const char* unreadableList = "the property list of the disk image cannot be read";
constexpr const char* noTables = "the property list of the disk image names no block tables";

void expectRefused(const std::string& text, const std::string& file) {
    expectRefusal(text, [&] { static_cast<void>(UdifImage(fileOf(file))); });
}

TEST(UdifImageTest, PartitionsAreNamedInTheOrderOfTheDisk) {
    const UdifImage image(fileOf(imageOfAllKinds().file()));
    ASSERT_EQ(image.partitions().size(), 3U);
    EXPECT_EQ(image.partitions()[0].name, "volume 0");
    EXPECT_EQ(image.partitions()[1].name, "volume 1");
    EXPECT_EQ(image.partitions()[1].firstSector, 1);
    EXPECT_EQ(image.partitions()[1].sectorCount, 20);
    EXPECT_EQ(image.size(), 22 * 512);
}

TEST(UdifImageTest, ATableNeedsNoName) {
    const HandmadeImage image = imageOfAllKinds();
    std::string list = image.propertyList();
    for (std::size_t at = 0; (at = list.find("<key>Name<", at)) != std::string::npos;) {
        list.replace(at, 10, "<key>Nome<");
    }
    EXPECT_EQ(UdifImage(fileOf(image.file(list))).partitions()[1].name, "");
}

TEST(UdifImageTest, AnythingButARegularFileIsRefused) {
    expectRefusal("the disk image is not a regular file", [] {
        static_cast<void>(UdifImage(Descriptor(::open("/dev/zero", O_RDONLY | O_CLOEXEC))));
    });
    expectRefusal("the disk image is not a regular file",
                  [] { static_cast<void>(UdifImage(Descriptor(::open("/", O_RDONLY | O_CLOEXEC)))); });
}

TEST(UdifImageTest, AFileThatCannotBeReadIsThePlatformsError) {
    expectPlatformError(FileErrorCode::readUnknown, [] { static_cast<void>(UdifImage(Descriptor())); });
    const TemporaryDirectory directory;
    writeFile(directory / "image", imageOfAllKinds().file());
    expectPlatformError(FileErrorCode::readUnknown, [&] {
        static_cast<void>(UdifImage(Descriptor(::open((directory / "image").c_str(), O_WRONLY | O_CLOEXEC))));
    });
}

TEST(UdifImageTest, OtherFilesAreRefused) {
    expectRefused(noTrailer, "");
    expectRefused(noTrailer, "koly");
    expectRefused(noTrailer, std::string(4096, '\0'));
    expectRefused(noTrailer, std::string(4096, 'k'));
}

TEST(UdifImageTest, EncryptedImagesAreRefusedAsSuch) {
    const std::string image = imageOfAllKinds().file();
    expectRefused("the disk image is encrypted", "encrcdsa" + image.substr(8));
    expectRefused("the disk image is encrypted", image + "cdsaencr");
    expectRefused("the disk image is encrypted", "encrcdsa");
    expectRefused(noTrailer, "encrcds");
}

TEST(UdifImageTest, AnImageThatIsCutShortIsRefused) {
    const std::string image = imageOfAllKinds().file();
    const Descriptor file = fileOf(image);
    for (auto length = static_cast<off_t>(image.size() - 1); length >= 0; --length) {
        SCOPED_TRACE(length);
        ASSERT_EQ(::ftruncate(file.get(), length), 0);
        expectRefusal(noTrailer, [&] { static_cast<void>(UdifImage(Descriptor(::dup(file.get())))); });
    }
}

TEST(UdifImageTest, AnImageThatLostItsBeginningIsRefused) {
    const std::string image = imageOfAllKinds().file();
    for (std::size_t lost = 1; lost + 512 <= image.size(); lost += 13) {
        SCOPED_TRACE(lost);
        EXPECT_THROW(static_cast<void>(decode(image.substr(lost))), DiskImageError);
    }
}

TEST(UdifImageTest, APropertyListOfAnotherShapeIsRefused) {
    const std::string head = "<plist version=\"1.0\">";

    const struct {
        std::string list;
        std::string text;
    } cases[] = {
        {"<plist><dict>", unreadableList},
        {"nothing of the kind", unreadableList},
        {std::string(100, '\0'), unreadableList},
        {head + "<array/></plist>", noTables},
        {head + "<dict/></plist>", noTables},
        {head + "<dict><key>resource-fork</key><string>blkx</string></dict></plist>", noTables},
        {head + "<dict><key>resource-fork</key><dict/></dict></plist>", noTables},
        {head + "<dict><key>resource-fork</key><dict><key>blkx</key><dict/></dict></dict></plist>", noTables},
        {head + "<dict><key>resource-fork</key><dict><key>blkx</key><array/></dict></dict></plist>",
         noTables},
        {head + "<dict><key>resource-fork</key><dict><key>blkx</key><array><string/></array></dict></dict></"
                "plist>",
         "partition 1 has no block table"},
        {head + "<dict><key>resource-fork</key><dict><key>blkx</key><array><dict/></array></dict></dict></"
                "plist>",
         "partition 1 has no block table"},
        {head + "<dict><key>resource-fork</key><dict><key>blkx</key><array><dict><key>Data</"
                "key><string>mish</string>"
                "</dict></array></dict></dict></plist>",
         "partition 1 has no block table"},
        {head + "<dict><key>resource-fork</key><dict><key>blkx</key><array><dict><key>Data</key><data/>"
                "</dict></array></dict></dict></plist>",
         "partition 1 has no block table"},
    };

    const HandmadeImage image = imageOfAllKinds();
    for (const auto& [list, text] : cases) {
        SCOPED_TRACE(list);
        expectRefused(text, image.file(list));
    }
}

TEST(UdifImageTest, AHugePropertyListIsRefusedUnread) {
    HandmadeImage image = imageOfAllKinds();
    const std::string list = image.propertyList();
    constexpr std::size_t longest = std::size_t{16} << 20U;
    EXPECT_EQ(UdifImage(fileOf(image.file(list + std::string(longest - list.size(), '\n')))).size(),
              22 * 512);
    expectRefused("the property list of the disk image is too long",
                  image.file(list + std::string(longest + 1 - list.size(), '\n')));
}

TEST(UdifImageTest, ErrorsCountPartitionsFromOne) {
    HandmadeImage image = imageOfAllKinds();
    putNumber(image.tables[2], 4, 4, 7);
    expectRefused("partition 3 has a block table of an unknown version", image.file());
    image = imageOfAllKinds();
    putNumber(image.tables[1], 64, 4, 7);
    expectRefused("the checksum of partition 2 is of an unknown kind", image.file());
}

TEST(UdifImageTest, PartitionsFillTheDiskWithoutOverlap) {
    HandmadeImage image = imageOfAllKinds();
    putNumber(image.tables[1], 8, 8, 0);
    expectRefused("the partitions of the disk image overlap or leave a gap", image.file());
    image = imageOfAllKinds();
    putNumber(image.tables[1], 8, 8, 2);
    expectRefused("the partitions of the disk image overlap or leave a gap", image.file());
    image = imageOfAllKinds();
    std::swap(image.tables[0], image.tables[1]);
    image.sumTables();
    expectRefused("the partitions of the disk image overlap or leave a gap", image.file());
    image = imageOfAllKinds();
    image.tables.pop_back();
    image.sumTables();
    expectRefused("the partitions of the disk image do not fill the disk", image.file());
}

TEST(UdifImageTest, TheMasterChecksumCoversThoseOfTheTables) {
    HandmadeImage image = imageOfAllKinds();
    ++image.masterChecksum;
    expectRefused("the checksum of the disk image does not match", image.file());
    image = imageOfAllKinds();
    image.tables[1][75] = static_cast<char>(image.tables[1][75] ^ 1);
    expectRefused("the checksum of the disk image does not match", image.file());
}

} // namespace

} // namespace InstallerCore
