#include "hosts/linux/codesign/BundleDirectory.h"

#include "tests/hosts/linux/codesign/RefusalOf.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Trap.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore::CodeSign {

namespace {

using Testing::refusalOf;
using Testing::TrapKind;
using Testing::writeFile;

class BundleDirectoryTest : public testing::Test {
protected:
    BundleDirectoryTest() {
        std::filesystem::create_directories(path / "folder/inner");
        writeFile(path / "folder/file", "content");
        std::filesystem::create_symlink("file", path / "folder/link");
    }

    [[nodiscard]] BundleDirectory open() const { return BundleDirectory::open(path).value(); }

    [[nodiscard]] BundleDirectory folder() const { return open().directory("folder"); }

    Testing::TemporaryDirectory directory;
    std::filesystem::path path = directory / "bundle";
};

TEST_F(BundleDirectoryTest, namesPlacesBelowTheBundle) {
    EXPECT_EQ(open().place(), "");
    EXPECT_EQ(open().place("a"), "a");
    EXPECT_EQ(folder().place(), "folder/");
    EXPECT_EQ(folder().directory("inner").place("a"), "folder/inner/a");
}

TEST_F(BundleDirectoryTest, isReachedThroughLinks) {
    std::filesystem::create_directory_symlink("bundle", directory / "link");
    ASSERT_TRUE(BundleDirectory::open(directory / "link"));
    EXPECT_EQ(BundleDirectory::open(directory / "link")->names(), std::vector<std::string>{"folder"});
}

TEST_F(BundleDirectoryTest, isAbsentWhereThereIsNone) {
    for (const TrapKind kind : {TrapKind::danglingLink, TrapKind::link, TrapKind::fifo, TrapKind::socket}) {
        const Testing::Trap trap(directory / nameOf(kind), kind);
        EXPECT_FALSE(BundleDirectory::open(directory / nameOf(kind))) << nameOf(kind);
        trap.expectUntouched();
    }
    EXPECT_FALSE(BundleDirectory::open(directory / "missing"));
    EXPECT_FALSE(BundleDirectory::open(""));
}

TEST_F(BundleDirectoryTest, saysOfWhatKindAnEntryIs) {
    const BundleDirectory inside = folder();
    const Testing::Trap fifo(path / "folder/fifo", TrapKind::fifo);
    const Testing::Trap dangling(path / "folder/dangling", TrapKind::danglingLink);
    EXPECT_EQ(inside.kind("file"), EntryKind::file);
    EXPECT_EQ(inside.kind("inner"), EntryKind::directory);
    EXPECT_EQ(inside.kind("link"), EntryKind::link);
    EXPECT_EQ(inside.kind("dangling"), EntryKind::link);
    EXPECT_EQ(inside.kind("fifo"), EntryKind::other);
    EXPECT_EQ(inside.kind("missing"), std::nullopt);
    fifo.expectUntouched();
}

TEST_F(BundleDirectoryTest, giveAllEntriesByName) {
    for (const char* const name : {"b", ".hidden", "A", "a\nb", "\xFF"}) {
        writeFile(path / name, "");
    }
    EXPECT_EQ(open().names(), (std::vector<std::string>{".hidden", "A", "a\nb", "b", "folder", "\xFF"}));
}

TEST_F(BundleDirectoryTest, readsFilesAndLinks) {
    EXPECT_EQ(asText(folder().file("file")->bytes()), "content");
    EXPECT_EQ(asText(folder().content("file").value()), "content");
    EXPECT_FALSE(folder().content("missing"));
    EXPECT_EQ(folder().target("link"), "file");
    const std::string longest(4095, 'a');
    std::filesystem::create_symlink(longest, path / "long");
    EXPECT_EQ(open().target("long"), longest);
}

TEST_F(BundleDirectoryTest, refusesWithThePlace) {
    const BundleDirectory inside = folder();
    EXPECT_EQ(refusalOf([&] { return inside.directory("missing"); }), "folder/missing: cannot be read");
    EXPECT_EQ(refusalOf([&] { return inside.directory("file"); }), "folder/file: is no directory");
    EXPECT_EQ(refusalOf([&] { return inside.file("missing"); }), "folder/missing: cannot be read");
    EXPECT_EQ(refusalOf([&] { return inside.file("inner"); }), "folder/inner: is no regular file");
    EXPECT_EQ(refusalOf([&] { return inside.content("inner"); }), "folder/inner: is no regular file");
    EXPECT_EQ(refusalOf([&] { return inside.target("file"); }), "folder/file: is no link that can be read");
    EXPECT_EQ(refusalOf([&] { return inside.mode("missing"); }), "folder/missing: is gone");
    const std::string name(300, 'a');
    EXPECT_EQ(refusalOf([&] { return inside.kind(name); }), "folder/" + name + ": cannot be read");
}

TEST_F(BundleDirectoryTest, aPlaceIsOneLine) {
    EXPECT_EQ(refusalOf([this] { return open().file("a\nb\r\x1B\x7F"); }), "a?b???: cannot be read");
}

TEST_F(BundleDirectoryTest, neverFollowsALink) {
    for (const TrapKind kind : Testing::allTrapLinks) {
        const std::string name = nameOf(kind);
        const Testing::Trap trap(path / name, kind);
        EXPECT_EQ(refusalOf([&] { return open().file(name); }), name + ": is no regular file");
        EXPECT_EQ(refusalOf([&] { return open().content(name); }), name + ": is no regular file");
        EXPECT_EQ(refusalOf([&] { return open().directory(name); }), name + ": is no directory");
    }
}

TEST_F(BundleDirectoryTest, aPathThatChangesDoesNotMatter) {
    const BundleDirectory inside = folder();
    std::filesystem::rename(path / "folder", directory / "elsewhere");
    std::filesystem::create_directory(path / "folder");
    writeFile(path / "folder/file", "another");
    EXPECT_EQ(asText(inside.content("file").value()), "content");
    std::filesystem::remove_all(directory / "elsewhere");
    EXPECT_EQ(inside.kind("file"), std::nullopt);
    EXPECT_TRUE(inside.names().empty());
}

TEST_F(BundleDirectoryTest, contentHasALongestLength) {
    writeFile(path / "file", "");
    std::filesystem::resize_file(path / "file", 16U << 20U);
    EXPECT_EQ(open().content("file").value().size(), 16U << 20U);
    std::filesystem::resize_file(path / "file", (16U << 20U) + 1);
    EXPECT_EQ(refusalOf([this] { return open().content("file"); }), "file: is too long");
}

TEST_F(BundleDirectoryTest, tellsPermissionsWithTheirSpecialBits) {
    ASSERT_EQ(::chmod((path / "folder/file").c_str(), 04751), 0);
    EXPECT_EQ(folder().mode("file") & 07777U, 04751U);
}

} // namespace

} // namespace InstallerCore::CodeSign
