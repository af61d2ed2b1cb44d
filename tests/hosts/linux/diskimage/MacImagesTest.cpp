#include "hosts/linux/diskimage/UdifImage.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace InstallerCore {

namespace {

using namespace Testing;

// Images that macOS wrote, when they are there.
class MacImagesTest : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        file_ = std::filesystem::path(KAVIO_MAC_IMAGES) / GetParam();
        if (!std::filesystem::exists(file_)) {
            GTEST_SKIP() << "There is no " << file_;
        }
    }

    [[nodiscard]] UdifImage open() const {
        return UdifImage(Descriptor(::open(file_.c_str(), O_RDONLY | O_CLOEXEC)));
    }

    [[nodiscard]] std::string decoded() const {
        const Descriptor disk(::open((directory_ / "disk").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
        open().decodeTo(disk.get());
        return readFile(directory_ / "disk");
    }

    // All partitions, as 7-Zip decodes them.
    [[nodiscard]] std::string judged() const {
        const std::filesystem::path output = directory_ / "judged";
        const std::string command =
            "/usr/bin/7zz x -tdmg -so '" + file_.string() + "' 2>/dev/null >'" + output.string() + "'";
        if (std::system(command.c_str()) != 0) {
            return "7-Zip failed";
        }
        return readFile(output);
    }

    std::filesystem::path file_;
    TemporaryDirectory directory_;
};

TEST_P(MacImagesTest, DecodesAsAnIndependentReaderDoes) {
    EXPECT_TRUE(decoded() == judged());
}

TEST_P(MacImagesTest, HasAPartitionMapAndAVolume) {
    const UdifImage image = open();
    ASSERT_EQ(image.partitions().size(), 8U);
    const UdifImage::Partition& volume = image.partitions()[4];
    EXPECT_TRUE(volume.name == "disk image (Apple_HFS : 4)" || volume.name == "disk image (Apple_APFS : 4)")
        << volume.name;
    EXPECT_EQ(volume.firstSector, 40);
    const std::string disk = decoded();
    EXPECT_EQ(static_cast<std::int64_t>(disk.size()), image.size());
    EXPECT_EQ(disk.substr(512, 8), "EFI PART");
    const std::string start = disk.substr(40 * 512, 4096);
    EXPECT_TRUE(start.substr(1024, 2) == "H+" || start.substr(32, 4) == "NXSB");
}

TEST_P(MacImagesTest, OneFlippedByteInARunIsRefused) {
    std::string content = readFile(file_);
    constexpr std::size_t inARun = 60; // of all these images
    content[inARun] = static_cast<char>(content[inARun] ^ 1);
    writeFile(directory_ / "damaged", content);
    file_ = directory_ / "damaged";
    EXPECT_THROW(static_cast<void>(decoded()), DiskImageError);
}

// A test's name has letters and digits only.
std::string nameOf(const ::testing::TestParamInfo<std::string>& image) {
    std::string name = image.param;
    std::erase_if(
        name, [](char character) { return std::string_view("-_.").find(character) != std::string::npos; });
    return name;
}

INSTANTIATE_TEST_SUITE_P(All, MacImagesTest,
                         ::testing::Values("keramics-hfsplus_zlib.dmg", "keramics-hfsplus_bzip2.dmg",
                                           "keramics-hfsplus_lzfse.dmg", "SparkleTestCodeSign_apfs.dmg"),
                         nameOf);

} // namespace

} // namespace InstallerCore
