#include "hosts/posix/FilesPosix.h"

#include "InstallerCore/support/PlatformError.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Trap.h"

#include <gmock/gmock.h>
#include <pwd.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace InstallerCore {

namespace {

using Testing::allTrapLinks;
using Testing::allTraps;
using Testing::expectPlatformError;
using Testing::permissionsOf;
using Testing::runInChild;
using Testing::TemporaryDirectory;
using Testing::Trap;
using Testing::TrapKind;
using Testing::writeFile;

class FilesPosixTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path place(const std::string& name = "entry") const {
        return folder_ / name;
    }

    [[nodiscard]] std::string readThrough(const std::filesystem::path& path) {
        std::string text(64, '\0');
        text.resize(files_.openForReading(path)->read(std::as_writable_bytes(std::span(text))));
        return text;
    }

    TemporaryDirectory folder_;
    FilesPosix files_{folder_.path()};
};

TEST_F(FilesPosixTest, HomeIsTheOneItWasGiven) {
    EXPECT_EQ(files_.homeDirectory(), folder_.path());
}

TEST_F(FilesPosixTest, HomeOfTheUserComesFromTheUserDatabase) {
    const passwd* const record = ::getpwuid(::getuid());
    ASSERT_NE(record, nullptr);
    const std::string expected = record->pw_dir;
    runInChild([&expected] {
        ::setenv("HOME", "/somewhere/else", 1);
        EXPECT_EQ(currentUsersHome(), expected);
    });
}

TEST_F(FilesPosixTest, UserWithoutARecordHasNoHome) {
    if (::getuid() != 0) {
        GTEST_SKIP() << "only root can become a user that nobody knows";
    }
    runInChild([] {
        constexpr uid_t stranger = 3'999'999'999;
        ASSERT_EQ(::getpwuid(stranger), nullptr);
        ASSERT_EQ(::setuid(stranger), 0);
        expectPlatformError(FileErrorCode::readNoSuchFile, [] { static_cast<void>(currentUsersHome()); });
    });
}

TEST_F(FilesPosixTest, DirectoryIsMadeWithAllItsParentsForTheOwnerOnly) {
    for (const mode_t mask : {0022U, 0U, 0777U}) {
        const std::filesystem::path top = place("top" + std::to_string(mask));
        runInChild([&] {
            ::umask(mask);
            files_.createDirectory(top / "middle" / "last");
        });
        for (const auto& made : {top, top / "middle", top / "middle" / "last"}) {
            EXPECT_TRUE(std::filesystem::is_directory(made)) << made;
            EXPECT_EQ(permissionsOf(made), 0700U) << made;
        }
    }
}

TEST_F(FilesPosixTest, UserWithoutPrivilegesMakesAllParentsUnderAnyMask) {
    runInChild([] {
        Testing::dropPrivileges();
        const TemporaryDirectory own;
        ::umask(0777);
        FilesPosix(own.path()).createDirectory(own / "a/b/c");
        EXPECT_EQ(permissionsOf(own / "a/b/c"), 0700U);
        ::umask(0022);
    });
}

TEST_F(FilesPosixTest, ExistingDirectoriesKeepTheirPermissions) {
    std::filesystem::create_directories(place("a") / "b");
    std::filesystem::permissions(place("a"), std::filesystem::perms{0755});
    std::filesystem::permissions(place("a") / "b", std::filesystem::perms{0711});
    files_.createDirectory(place("a") / "b");
    EXPECT_EQ(permissionsOf(place("a")), 0755U);
    EXPECT_EQ(permissionsOf(place("a") / "b"), 0711U);
}

TEST_F(FilesPosixTest, WhatIsInTheWayOfADirectoryStays) {
    for (const TrapKind kind : allTraps) {
        if (kind == TrapKind::directory || kind == TrapKind::linkToDirectory) {
            continue;
        }
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place(nameOf(kind)), kind);
        expectPlatformError(FileErrorCode::writeFileExists,
                            [&] { files_.createDirectory(place(nameOf(kind))); });
        expectPlatformError(FileErrorCode::writeFileExists,
                            [&] { files_.createDirectory(place(nameOf(kind)) / "below"); });
        trap.expectUntouched();
    }
    writeFile(place(), "text");
    expectPlatformError(FileErrorCode::writeFileExists, [this] { files_.createDirectory(place()); });
    EXPECT_EQ(Testing::readFile(place()), "text");
}

TEST_F(FilesPosixTest, LinkToADirectoryCountsAsOneThatExists) {
    const Trap trap(place(), TrapKind::linkToDirectory);
    files_.createDirectory(place());
    trap.expectUntouched();
}

TEST_F(FilesPosixTest, MissingPermissionIsAnError) {
    runInChild([] {
        Testing::dropPrivileges();
        const TemporaryDirectory own;
        FilesPosix files(own.path());
        const std::filesystem::path closed = own / "closed";
        std::filesystem::create_directory(closed);
        writeFile(closed / "file", "text");
        std::filesystem::permissions(closed, std::filesystem::perms::none);
        expectPlatformError(FileErrorCode::writeNoPermission, [&] { files.createDirectory(closed / "new"); });
        expectPlatformError(FileErrorCode::readNoPermission,
                            [&] { static_cast<void>(files.attributes(closed / "file")); });
        expectPlatformError(FileErrorCode::readNoPermission,
                            [&] { static_cast<void>(files.openDirectory(closed)); });
        expectPlatformError(FileErrorCode::readNoPermission,
                            [&] { static_cast<void>(files.openForReading(closed / "file")); });
        files.makePrivate(closed); // the owner may
        EXPECT_EQ(files.attributes(closed / "file").size, 4);
    });
}

TEST_F(FilesPosixTest, ReadOnlyVolumeIsAnError) {
    runInChild([this] {
        if (!Testing::mountVolume(folder_.path(), "size=64k")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        ASSERT_EQ(::mount("tmpfs", folder_.path().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=64k"), 0);
        expectPlatformError(FileErrorCode::writeVolumeReadOnly, [this] { files_.createDirectory(place()); });
        expectPlatformError(FileErrorCode::writeVolumeReadOnly,
                            [this] { files_.makePrivate(folder_.path()); });
    });
}

TEST_F(FilesPosixTest, FullVolumeHasNoRoomForADirectory) {
    runInChild([this] {
        if (!Testing::mountVolume(folder_.path(), "nr_inodes=2")) { // its root and one more
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        files_.createDirectory(place());
        expectPlatformError(FileErrorCode::writeOutOfSpace,
                            [this] { files_.createDirectory(place("second")); });
    });
}

TEST_F(FilesPosixTest, AttributesAreThoseOfTheEntryItself) {
    for (const TrapKind kind : allTrapLinks) {
        const Trap trap(place(nameOf(kind)), kind);
        EXPECT_EQ(files_.attributes(place(nameOf(kind))).type, FileType::symbolicLink);
    }
    writeFile(place(), "text");
    EXPECT_EQ(files_.attributes(place()).type, FileType::regular);
    EXPECT_EQ(files_.attributes(place()).size, 4);
    EXPECT_EQ(files_.attributes(folder_.path()).type, FileType::directory);
    EXPECT_EQ(files_.attributes("/dev/null").type, FileType::other);
    expectPlatformError(FileErrorCode::readNoSuchFile,
                        [this] { static_cast<void>(files_.attributes(place("missing"))); });
    expectPlatformError(FileErrorCode::readUnknown,
                        [this] { static_cast<void>(files_.attributes(place() / "below")); });
}

TEST_F(FilesPosixTest, MakePrivateSetsThePermissionsWhateverTheyWere) {
    std::filesystem::create_directory(place());
    for (const unsigned before : {0755U, 0777U, 0000U, 0500U, 0700U}) {
        std::filesystem::permissions(place(), std::filesystem::perms{before});
        files_.makePrivate(place());
        EXPECT_EQ(permissionsOf(place()), 0700U) << std::oct << before;
    }
}

TEST_F(FilesPosixTest, MakePrivateDoesNotFollowALink) {
    for (const TrapKind kind : allTrapLinks) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place(nameOf(kind)), kind);
        EXPECT_THROW(files_.makePrivate(place(nameOf(kind))), PlatformError);
        trap.expectUntouched();
    }
    expectPlatformError(FileErrorCode::noSuchFile, [this] { files_.makePrivate(place("missing")); });
}

TEST_F(FilesPosixTest, OnlyADirectoryIsOpenedAsOne) {
    for (const TrapKind kind : allTraps) {
        if (kind == TrapKind::directory) {
            continue;
        }
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place(nameOf(kind)), kind);
        EXPECT_THROW(static_cast<void>(files_.openDirectory(place(nameOf(kind)))), PlatformError);
        trap.expectUntouched();
    }
    writeFile(place(), "");
    EXPECT_THROW(static_cast<void>(files_.openDirectory(place())), PlatformError);
    expectPlatformError(FileErrorCode::readNoSuchFile,
                        [this] { static_cast<void>(files_.openDirectory(place("missing"))); });
    EXPECT_NE(files_.openDirectory(folder_.path()), nullptr);
    EXPECT_NE(files_.openDirectory(""), nullptr); // the parent of a bare file name
}

TEST_F(FilesPosixTest, ReadingFollowsLinksToTheFile) {
    const Trap trap(place("link"), TrapKind::link);
    std::filesystem::create_symlink("link", place("second"));
    EXPECT_EQ(readThrough(place("link")), Trap::content);
    EXPECT_EQ(readThrough(place("second")), Trap::content);
    trap.expectUntouched();
}

TEST_F(FilesPosixTest, NothingButARegularFileIsOpenedForReading) {
    const struct {
        TrapKind kind;
        FileErrorCode code;
    } rows[] = {
        {TrapKind::danglingLink, FileErrorCode::readNoSuchFile},
        {TrapKind::linkToDirectory, FileErrorCode::notRegularFile},
        {TrapKind::fifo, FileErrorCode::notRegularFile},
        {TrapKind::socket, FileErrorCode::notRegularFile},
        {TrapKind::directory, FileErrorCode::notRegularFile},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(nameOf(row.kind));
        const std::filesystem::path there = place(nameOf(row.kind));
        const Trap trap(there, row.kind);
        expectPlatformError(row.code, [&] { static_cast<void>(files_.openForReading(there)); });
        std::filesystem::create_symlink(there, place());
        expectPlatformError(row.code, [&] { static_cast<void>(files_.openForReading(place())); });
        std::filesystem::remove(place());
        trap.expectUntouched();
    }
    for (const char* device : {"/dev/null", "/dev/zero", "/dev/tty"}) {
        expectPlatformError(FileErrorCode::notRegularFile,
                            [&] { static_cast<void>(files_.openForReading(device)); });
    }
    expectPlatformError(FileErrorCode::readNoSuchFile,
                        [this] { static_cast<void>(files_.openForReading(place("missing"))); });
}

TEST_F(FilesPosixTest, LinksInACircleAreAnError) {
    std::filesystem::create_symlink(place("b"), place("a"));
    std::filesystem::create_symlink(place("a"), place("b"));
    expectPlatformError(FileErrorCode::notRegularFile,
                        [this] { static_cast<void>(files_.openForReading(place("a"))); });
    EXPECT_THROW(files_.createDirectory(place("a")), PlatformError);
}

} // namespace

} // namespace InstallerCore
