#include "rehearsal/HfsVolume.h"

#include "tests/rehearsal/DescribeTree.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <stdexcept>

namespace InstallerCore {

namespace {

using namespace Rehearsal;
using namespace Testing;
using ::testing::HasSubstr;

class HfsVolumeTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directory(directory_ / "tree");
        std::filesystem::permissions(directory_ / "tree", std::filesystem::perms{0755});
    }

    void make() { makeHfsVolume(directory_ / "tree", "Kavio", directory_ / "volume"); }

    // How another reader describes the entry, one property a line.
    [[nodiscard]] std::string describe(const std::string& name) const {
        return outputOf("/usr/bin/7zz",
                        {"l", "-slt", "-sccUTF-8", "-thfs", directory_ / "volume", "Kavio/" + name});
    }

    // All of them, without what names the listed file.
    [[nodiscard]] std::vector<std::string> leftBesideTheTree() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
            if (entry.path().filename() != "tree") {
                names.push_back(entry.path().filename());
            }
        }
        return names;
    }

    TemporaryDirectory directory_;
};

TEST_F(HfsVolumeTest, AnotherReaderFindsTheContent) {
    std::filesystem::create_directories(directory_ / "tree/folder/Grüße");
    writeFile(directory_ / "tree/folder/Grüße/ångström – 'quoted' $x.txt", "content");
    writeFile(directory_ / "tree/empty", "");
    writeFile(directory_ / "tree/large", std::string(3'000'001, 'x'));
    std::filesystem::create_symlink("folder/Grüße", directory_ / "tree/link");
    make();
    (void)outputOf("/usr/bin/7zz", {"x", "-bd", "-snld", "-o" + (directory_ / "out").string(), "-thfs",
                                    (directory_ / "volume").string()});
    // HFS+ keeps names in decomposed form, as the reader gives them back.
    EXPECT_EQ(describeTree(directory_ / "out/Kavio").size(), describeTree(directory_ / "tree").size());
    EXPECT_TRUE(readFile(directory_ / "out/Kavio/large") == std::string(3'000'001, 'x'));
    EXPECT_EQ(readFile(directory_ / "out/Kavio/empty"), "");
    EXPECT_TRUE(std::filesystem::is_symlink(directory_ / "out/Kavio/link"));
    EXPECT_EQ(leftBesideTheTree().size(), 2U) << "the volume and what was extracted";
}

TEST_F(HfsVolumeTest, ModesAndLinksAreKept) {
    writeFile(directory_ / "tree/tool", "content");
    ASSERT_EQ(::chmod((directory_ / "tree/tool").c_str(), 04751), 0);
    std::filesystem::create_symlink("/Applications", directory_ / "tree/Applications");
    make();
    EXPECT_THAT(describe("tool"), HasSubstr("Mode = -rwsr-x--x\n"));
    EXPECT_THAT(describe("Applications"), HasSubstr("Mode = lrwxrwxrwx\n"));
}

TEST_F(HfsVolumeTest, TimesOfModificationAreKept) {
    writeFile(directory_ / "tree/file", "content");
    const timespec date{.tv_sec = 1700000000, .tv_nsec = 0};
    const timespec dates[] = {date, date};
    ASSERT_EQ(::utimensat(AT_FDCWD, (directory_ / "tree/file").c_str(), dates, 0), 0);
    make();
    runInChild([this] {
        ::setenv("TZ", "UTC", 1);
        EXPECT_THAT(describe("file"), HasSubstr("Modified = 2023-11-14 22:13:20\n"));
    });
}

TEST_F(HfsVolumeTest, TheSameTreeGivesTheSameBytesWheneverItIsRead) {
    writeFile(directory_ / "tree/file", "content");
    std::filesystem::create_symlink("file", directory_ / "tree/link");
    make();
    const std::string first = readFile(directory_ / "volume");
    const timespec dates[] = {{.tv_sec = 1, .tv_nsec = 0}, {.tv_sec = 0, .tv_nsec = UTIME_OMIT}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (directory_ / "tree/file").c_str(), dates, 0), 0);
    make();
    EXPECT_TRUE(readFile(directory_ / "volume") == first);
    EXPECT_EQ(leftBesideTheTree(), std::vector<std::string>{"volume"});
}

TEST_F(HfsVolumeTest, TheVolumeIsWholeSectorsOfHfsPlus) {
    make();
    const std::string volume = readFile(directory_ / "volume");
    EXPECT_EQ(volume.size() % 512, 0U);
    EXPECT_EQ(volume.substr(1024, 2), "H+");
}

TEST_F(HfsVolumeTest, AFailureSaysWhatXorrisoSaysAndLeavesNothing) {
    std::filesystem::remove(directory_ / "tree");
    try {
        make();
        FAIL() << "there is no tree to make a volume of";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("xorriso cannot make the volume"));
        EXPECT_THAT(error.what(), HasSubstr("FAILURE"));
    }
    EXPECT_TRUE(leftBesideTheTree().empty());
}

} // namespace

} // namespace InstallerCore
