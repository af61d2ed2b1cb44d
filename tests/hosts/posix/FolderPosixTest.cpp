#include "hosts/posix/FoldersPosix.h"
#include "tests/hosts/posix/SystemCalls.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Trap.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cerrno>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using Testing::expectPlatformError;
using Testing::permissionsOf;
using Testing::readFile;
using Testing::runInChild;
using Testing::StepIn;
using Testing::TemporaryDirectory;
using Testing::Trap;
using Testing::TrapKind;
using Testing::writeFile;

class FolderPosixTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path place(const std::string& name) const { return directory_ / name; }

    // An application as a test needs it: a directory with something in it.
    void makeTree(const std::string& name) const {
        std::filesystem::create_directories(place(name) / "Contents");
        writeFile(place(name) / "Contents/file", name);
    }

    TemporaryDirectory directory_;
    std::unique_ptr<Folder> folder_ = FoldersPosix().open(directory_.path());
};

// An empty staging directory would be in the way of every later start.
TEST_F(FolderPosixTest, NewDirectoryThatDoesNotReachTheDiskIsTakenAway) {
    for (const char* const call : {"fsync", "fchmodat"}) {
        const Testing::FailingCall failing(call, EIO);
        expectPlatformError(FileErrorCode::writeUnknown, [this] { folder_->createFolder("made"); });
        EXPECT_FALSE(std::filesystem::exists(place("made"))) << call;
    }
    const Testing::FailingCall failing("fsync", EINVAL); // a file system that has no such step
    folder_->createFolder("made");
    EXPECT_TRUE(std::filesystem::exists(place("made")));
}

TEST_F(FolderPosixTest, MoveThatDoesNotReachTheDiskIsTold) {
    makeTree("tree");
    folder_->createFolder("other");
    const auto other = folder_->openFolder("other");
    const Testing::FailingCall failing("fsync", EIO);
    expectPlatformError(FileErrorCode::writeUnknown, [&] { folder_->move("tree", *other, "moved"); });
    EXPECT_EQ(readFile(place("other/moved/Contents/file")), "tree");
}

TEST_F(FolderPosixTest, WhatALinkLeadsToDecidesWhetherItExists) {
    makeTree("tree");
    std::filesystem::create_symlink("tree", place("link"));
    std::filesystem::create_symlink("nowhere", place("dangling"));
    std::filesystem::create_symlink("circle", place("circle"));
    EXPECT_TRUE(folder_->exists("tree"));
    EXPECT_TRUE(folder_->exists("link"));
    EXPECT_FALSE(folder_->exists("missing"));
    EXPECT_FALSE(folder_->exists("dangling"));
    EXPECT_FALSE(folder_->exists("circle"));
}

TEST_F(FolderPosixTest, FilesAreThoseOfTheSameDirectory) {
    folder_->files().replace("entry", asBytes("text"));
    EXPECT_EQ(readFile(place("entry")), "text");
    EXPECT_THAT(folder_->files().names(), testing::ElementsAre("entry"));
}

TEST_F(FolderPosixTest, NewFolderIsForTheOwnerOnlyWhateverTheMask) {
    runInChild([this] {
        for (const mode_t mask : {0U, 022U, 0777U}) {
            ::umask(mask);
            const std::string name = "made " + std::to_string(mask);
            folder_->createFolder(name);
            EXPECT_EQ(permissionsOf(place(name)), 0700U) << name;
        }
    });
}

TEST_F(FolderPosixTest, NewFolderNeedsAFreeName) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place("made"), kind);
        expectPlatformError(FileErrorCode::writeFileExists, [this] { folder_->createFolder("made"); });
        trap.expectUntouched();
        std::filesystem::remove(place("made"));
    }
    expectPlatformError(FileErrorCode::writeInvalidName,
                        [this] { folder_->createFolder(std::string(256, 'n')); });
    expectPlatformError(FileErrorCode::writeFileExists, [this] { folder_->createFolder("."); });
}

TEST_F(FolderPosixTest, TrapInPlaceOfTheNewFolderIsLeftAlone) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        if (kind == TrapKind::directory || kind == TrapKind::fifo || kind == TrapKind::socket) {
            continue; // its permissions may change, which leads nowhere
        }
        std::optional<Trap> trap;
        {
            const StepIn stepIn("fchmodat", [&] {
                std::filesystem::remove(place("made"));
                trap.emplace(place("made"), kind);
            });
            EXPECT_THROW(folder_->createFolder("made"), PlatformError);
        }
        ASSERT_TRUE(trap);
        trap->expectUntouched();
        std::filesystem::remove(place("made"));
    }
}

TEST_F(FolderPosixTest, OpensOnlyADirectoryItself) {
    makeTree("tree");
    EXPECT_THAT(folder_->openFolder("tree")->files().names(), testing::ElementsAre("Contents"));
    for (const TrapKind kind : allTraps) {
        if (kind != TrapKind::directory) {
            SCOPED_TRACE(nameOf(kind));
            const Trap trap(place("trap"), kind);
            EXPECT_THROW(static_cast<void>(folder_->openFolder("trap")), PlatformError);
            trap.expectUntouched();
            std::filesystem::remove(place("trap"));
        }
    }
    expectPlatformError(FileErrorCode::readNoSuchFile,
                        [this] { static_cast<void>(folder_->openFolder("missing")); });
}

TEST_F(FolderPosixTest, StaysTheSameDirectoryWhenItsPathChanges) {
    makeTree("tree");
    const auto tree = folder_->openFolder("tree");
    std::filesystem::rename(place("tree"), place("elsewhere"));
    makeTree("tree");
    tree->createFolder("made");
    EXPECT_TRUE(std::filesystem::exists(place("elsewhere") / "made"));
    EXPECT_FALSE(std::filesystem::exists(place("tree") / "made"));
}

TEST_F(FolderPosixTest, MovesATreeBetweenFolders) {
    makeTree("tree");
    folder_->createFolder("other");
    folder_->move("tree", *folder_->openFolder("other"), "new name");
    EXPECT_EQ(readFile(place("other") / "new name/Contents/file"), "tree");
    EXPECT_FALSE(std::filesystem::exists(place("tree")));
    folder_->move("other", *folder_, "renamed");
    EXPECT_EQ(readFile(place("renamed") / "new name/Contents/file"), "tree");
}

TEST_F(FolderPosixTest, MovesAnyEntryItself) {
    folder_->createFolder("other");
    const auto other = folder_->openFolder("other");
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place("trap"), kind);
        folder_->move("trap", *other, nameOf(kind));
        trap.expectOutsideUntouched();
        EXPECT_TRUE(other->files().attributes(nameOf(kind)).type.has_value());
        EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(place("trap"))));
    }
}

TEST_F(FolderPosixTest, MoveNeverReplacesAnything) {
    makeTree("tree");
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place("taken"), kind);
        expectPlatformError(FileErrorCode::writeFileExists,
                            [this] { folder_->move("tree", *folder_, "taken"); });
        trap.expectUntouched();
        EXPECT_EQ(readFile(place("tree") / "Contents/file"), "tree");
        std::filesystem::remove(place("taken"));
    }
}

TEST_F(FolderPosixTest, ImpossibleMovesAreErrorsAndChangeNothing) {
    makeTree("tree");
    const auto tree = folder_->openFolder("tree");
    expectPlatformError(FileErrorCode::noSuchFile, [this] { folder_->move("missing", *folder_, "new"); });
    expectPlatformError(FileErrorCode::writeUnknown, [&] { folder_->move("tree", *tree, "inside"); });
    expectPlatformError(FileErrorCode::writeInvalidName,
                        [this] { folder_->move("tree", *folder_, std::string(256, 'n')); });
    EXPECT_EQ(readFile(place("tree") / "Contents/file"), "tree");
}

TEST_F(FolderPosixTest, MoveToAnotherVolumeIsAnErrorAndChangesNothing) {
    makeTree("tree");
    folder_->createFolder("volume");
    runInChild([this] {
        if (!Testing::mountVolume(place("volume"), "size=64k")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        folder_ = FoldersPosix().open(directory_.path()); // as this process sees it now
        const auto volume = folder_->openFolder("volume");
        expectPlatformError(FileErrorCode::writeUnknown, [&] { folder_->move("tree", *volume, "tree"); });
        EXPECT_THAT(volume->files().names(), testing::IsEmpty());
        EXPECT_EQ(readFile(place("tree") / "Contents/file"), "tree");
        expectPlatformError(FileErrorCode::writeUnknown,
                            [this] { folder_->move("volume", *folder_, "moved"); });
    });
}

TEST_F(FolderPosixTest, MissingPermissionIsAnError) {
    makeTree("closed");
    folder_->createFolder("open");
    std::filesystem::permissions(directory_.path(), std::filesystem::perms{0755});
    std::filesystem::permissions(place("closed"), std::filesystem::perms{0555});
    std::filesystem::permissions(place("open"), std::filesystem::perms{0777});
    const auto closed = folder_->openFolder("closed");
    const auto open = folder_->openFolder("open");
    runInChild([&] {
        Testing::dropPrivileges();
        expectPlatformError(FileErrorCode::writeNoPermission, [&] { closed->createFolder("made"); });
        expectPlatformError(FileErrorCode::writeNoPermission,
                            [&] { closed->move("Contents", *open, "new"); });
        open->createFolder("made");
        expectPlatformError(FileErrorCode::writeNoPermission, [&] { open->move("made", *closed, "new"); });
    });
    std::filesystem::permissions(place("closed"), std::filesystem::perms{0755});
}

TEST_F(FolderPosixTest, RemovalTellsWhatIsInItsWay) {
    expectPlatformError(FileErrorCode::noSuchFile, [this] { folder_->removeTree("missing"); });
    makeTree("tree");
    folder_->removeTree("tree");
    EXPECT_FALSE(folder_->exists("tree"));
}

} // namespace

} // namespace InstallerCore
