#include "rehearsal/HfsVolume.h"

#include "tests/rehearsal/DescribeTree.h"
#include "tests/rehearsal/HfsReader.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <stdexcept>

namespace InstallerCore {

namespace {

using namespace Rehearsal;
using namespace Testing;
using ::testing::HasSubstr;

constexpr std::uint32_t firstOfJanuary2026 = 1767225600U + 2082844800U; // seconds since 1904

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

// What a checker of file systems holds against a volume whose bitmap says anything else.
TEST_F(HfsVolumeTest, TheBlocksInUseAreThoseOfTheFilesAndOfTheTwoHeaders) {
    for (int i = 0; i < 100; ++i) { // a catalog of several nodes
        writeFile(directory_ / "tree" / ("file with a long name that is number " + std::to_string(i)),
                  std::string(static_cast<std::size_t>(i) * 100, 'x'));
    }
    std::filesystem::create_directory(directory_ / "tree/folder");
    writeFile(directory_ / "tree/folder/empty", "");
    writeFile(directory_ / "tree/folder/large", std::string(300'001, 'x'));
    std::filesystem::create_symlink("folder", directory_ / "tree/link");
    make();
    const StoredVolume volume = readStoredVolume(directory_ / "volume");
    EXPECT_EQ(volume.entries.size(), 105U) << "with the root folder";
    std::set<std::uint32_t> inUse = {0, volume.blockCount - 1};
    const auto use = [&](const StoredFork& fork) {
        EXPECT_EQ(fork.blocks.size(), fork.blockCount);
        EXPECT_EQ(fork.blockCount, (fork.size + volume.blockSize - 1) / volume.blockSize);
        for (const std::uint32_t block : fork.blocks) {
            EXPECT_TRUE(inUse.insert(block).second) << block << " is of two files";
        }
    };
    std::ranges::for_each(volume.specialFiles, use);
    for (const StoredEntry& entry : volume.entries) {
        std::ranges::for_each(entry.forks, use);
    }
    EXPECT_EQ(volume.markedBlocks, inUse);
    EXPECT_EQ(volume.freeBlockCount, volume.blockCount - inUse.size());
    EXPECT_GE(volume.blockSize, 1536U)
        << "a smaller block does not hold a whole header and what is before it";
    EXPECT_EQ(std::filesystem::file_size(directory_ / "volume"),
              std::uint64_t{volume.blockCount} * volume.blockSize);
}

TEST_F(HfsVolumeTest, NothingSaysWhoMadeItAndWhen) {
    std::filesystem::create_directory(directory_ / "tree/folder");
    writeFile(directory_ / "tree/folder/file", "content");
    std::filesystem::create_symlink("file", directory_ / "tree/link");
    const auto changeOwners = [this](::uid_t owner) {
        for (const char* name : {"tree", "tree/folder", "tree/folder/file", "tree/link"}) {
            ASSERT_EQ(::lchown((directory_ / name).c_str(), owner, owner), 0);
        }
    };
    make();
    const std::string first = readFile(directory_ / "volume");
    if (::geteuid() == 0) {
        changeOwners(65534);
        make();
        EXPECT_TRUE(readFile(directory_ / "volume") == first);
    }
    const StoredVolume volume = readStoredVolume(directory_ / "volume");
    EXPECT_EQ(volume.entries.size(), 4U);
    for (const StoredEntry& entry : volume.entries) {
        SCOPED_TRACE(entry.number);
        EXPECT_EQ(entry.owner, 0U);
        EXPECT_EQ(entry.group, 0U);
        EXPECT_EQ(entry.created, firstOfJanuary2026);
        EXPECT_EQ(entry.accessed, firstOfJanuary2026);
    }
}

TEST_F(HfsVolumeTest, AFileWithTwoNamesIsRefusedUnlessOneIsElsewhere) {
    writeFile(directory_ / "elsewhere", "content");
    std::filesystem::create_hard_link(directory_ / "elsewhere", directory_ / "tree/one");
    make();
    std::filesystem::create_hard_link(directory_ / "elsewhere", directory_ / "tree/two");
    std::filesystem::remove(directory_ / "volume");
    EXPECT_THROW(make(), std::runtime_error);
    EXPECT_EQ(leftBesideTheTree(), std::vector<std::string>{"elsewhere"});
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
