#include "hosts/posix/FoldersPosix.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace InstallerCore {

namespace {

using Testing::expectPlatformError;
using Testing::runInChild;
using Testing::TemporaryDirectory;
using Testing::writeFile;

class FoldersPosixTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path place(const std::string& name = "file") const {
        return folder_ / name;
    }

    TemporaryDirectory folder_;
    FoldersPosix folders_;
};

TEST_F(FoldersPosixTest, DirectoryIsOpenedThroughLinks) {
    std::filesystem::create_directory(place("directory"));
    std::filesystem::create_directory_symlink("directory", place("link"));
    folders_.open(place("link"))->createFolder("made");
    EXPECT_TRUE(std::filesystem::is_directory(place("directory") / "made"));
}

TEST_F(FoldersPosixTest, OnlyADirectoryIsOpened) {
    writeFile(place(), "text");
    ASSERT_EQ(::mkfifo(place("fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", place("dangling"));
    std::filesystem::create_symlink("circle", place("circle"));
    const auto open = [this](const char* name) {
        return [this, name] { static_cast<void>(folders_.open(place(name))); };
    };
    expectPlatformError(FileErrorCode::readNoSuchFile, open("missing"));
    expectPlatformError(FileErrorCode::readNoSuchFile, open("dangling"));
    expectPlatformError(FileErrorCode::readUnknown, open("file"));
    expectPlatformError(FileErrorCode::readUnknown, open("fifo"));
    expectPlatformError(FileErrorCode::notRegularFile, open("circle"));
}

TEST_F(FoldersPosixTest, WhatALinkLeadsToDecidesWhetherItExists) {
    writeFile(place(), "text");
    std::filesystem::create_directory(place("directory"));
    std::filesystem::create_symlink("file", place("link"));
    std::filesystem::create_symlink("nowhere", place("dangling"));
    std::filesystem::create_symlink("circle", place("circle"));
    for (const char* name : {"file", "directory", "link", ""}) {
        EXPECT_TRUE(folders_.exists(place(name))) << name;
    }
    for (const char* name : {"missing", "dangling", "circle", "file/under"}) {
        EXPECT_FALSE(folders_.exists(place(name))) << name;
    }
}

TEST_F(FoldersPosixTest, WritableIsWhatThisUserMayWrite) {
    for (const char* name : {"closed", "open"}) {
        std::filesystem::create_directory(place(name));
    }
    std::filesystem::create_directory_symlink("open", place("link"));
    std::filesystem::permissions(folder_.path(), std::filesystem::perms{0755});
    std::filesystem::permissions(place("closed"), std::filesystem::perms{0555});
    std::filesystem::permissions(place("open"), std::filesystem::perms{0777});
    runInChild([this] {
        Testing::dropPrivileges();
        EXPECT_FALSE(folders_.isWritable(place("closed")));
        EXPECT_TRUE(folders_.isWritable(place("open")));
        EXPECT_TRUE(folders_.isWritable(place("link")));
        EXPECT_FALSE(folders_.isWritable(place("missing")));
    });
}

// Set-uid programs aside, the two users of a process differ only here.
TEST_F(FoldersPosixTest, WritableIsWhatTheEffectiveUserMayWrite) {
    std::filesystem::permissions(folder_.path(), std::filesystem::perms{0755});
    runInChild([this] {
        constexpr uid_t nobody = 65'534;
        if (::geteuid() != 0 || ::seteuid(nobody) != 0) {
            GTEST_SKIP() << "only the superuser can be two users";
        }
        EXPECT_FALSE(folders_.isWritable(folder_.path()));
    });
}

TEST_F(FoldersPosixTest, VolumeThatIsReadOnlyIsNotWritable) {
    runInChild([this] {
        if (!Testing::mountVolume(folder_.path(), "size=64k")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        EXPECT_TRUE(folders_.isWritable(folder_.path()));
        ASSERT_EQ(::mount("none", folder_.path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
        EXPECT_FALSE(folders_.isWritable(folder_.path()));
        expectPlatformError(FileErrorCode::writeVolumeReadOnly,
                            [this] { folders_.open(folder_.path())->createFolder("made"); });
    });
}

TEST_F(FoldersPosixTest, AvailableSpaceIsWhatThisUserCanStillWrite) {
    runInChild([this] {
        constexpr std::int64_t volumeSize = 1'048'576;
        if (!Testing::mountVolume(folder_.path(), "size=1m")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        EXPECT_EQ(folders_.availableSpace(folder_.path()), volumeSize);
        constexpr std::int64_t content = 524'288;
        writeFile(place(), std::string(content, 'x'));
        EXPECT_EQ(folders_.availableSpace(folder_.path()), volumeSize - content);
        EXPECT_EQ(folders_.availableSpace(place()), volumeSize - content);
    });
}

// The figure of a volume that others write to moves, so it is taken between two equal ones.
TEST_F(FoldersPosixTest, AvailableSpaceLeavesOutWhatIsReserved) {
    struct statvfs before{};
    struct statvfs after{};
    std::int64_t space = -1;
    do {
        ASSERT_EQ(::statvfs(folder_.path().c_str(), &before), 0);
        space = folders_.availableSpace(folder_.path()).value();
        ASSERT_EQ(::statvfs(folder_.path().c_str(), &after), 0);
    } while (before.f_bavail != after.f_bavail);
    EXPECT_EQ(static_cast<std::uint64_t>(space), std::uint64_t{before.f_bavail} * before.f_frsize);
}

TEST_F(FoldersPosixTest, AvailableSpaceOfAMissingPathIsAnError) {
    EXPECT_EQ(folders_.availableSpace("/proc"), std::nullopt);
    expectPlatformError(FileErrorCode::readNoSuchFile,
                        [this] { static_cast<void>(folders_.availableSpace(place("missing"))); });
}

} // namespace

} // namespace InstallerCore
