#include "InstallerCore/download/DownloadCache.h"

#include "InstallerCore/config/BuildConfig.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/MockFiles.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/Trap.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <string>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::permissionsOf;
using Testing::TestPlatform;
using Testing::Trap;
using Testing::TrapKind;
using Testing::writeFile;

const std::string digest64(64, 'a');
const std::string digest128 = std::string(64, '0') + std::string(64, 'f');

TEST(PrivateCacheTest, NameIsTheBundleIdentifierOfTheInstaller) {
    const TestPlatform test;
    EXPECT_EQ(privateCache(test.platform),
              test.home / ("Library/Caches/" + std::string(BuildConfig::installerIdentifier)));
    EXPECT_TRUE(BuildConfig::installerIdentifier.ends_with(".installer"));
}

TEST(PrivateCacheTest, WholePathIsMade) {
    const TestPlatform test;
    const std::filesystem::path cache = privateCache(test.platform);
    EXPECT_TRUE(std::filesystem::is_directory(cache));
    EXPECT_TRUE(std::filesystem::is_empty(cache));
    EXPECT_EQ(permissionsOf(cache), 0700U);
    EXPECT_EQ(privateCache(test.platform), cache);
}

TEST(PrivateCacheTest, ExistingDirectoryIsMadePrivateAndKeepsItsContent) {
    const TestPlatform test;
    std::filesystem::create_directories(test.cachePath());
    writeFile(test.cachePath() / "file", "text");
    std::filesystem::permissions(test.cachePath().parent_path(), std::filesystem::perms{0755});
    for (const unsigned before : {0755U, 0777U, 0500U}) {
        std::filesystem::permissions(test.cachePath(), std::filesystem::perms{before});
        EXPECT_EQ(privateCache(test.platform), test.cachePath());
        EXPECT_EQ(permissionsOf(test.cachePath()), 0700U) << std::oct << before;
    }
    EXPECT_EQ(permissionsOf(test.cachePath().parent_path()), 0755U);
    EXPECT_EQ(Testing::readFile(test.cachePath() / "file"), "text");
}

TEST(PrivateCacheTest, LinkToADirectoryIsUnsafe) {
    const TestPlatform test;
    std::filesystem::create_directories(test.cachePath().parent_path());
    const Trap trap(test.cachePath(), TrapKind::linkToDirectory);
    expectInstallerError("Unsafe cache directory", [&] { static_cast<void>(privateCache(test.platform)); });
    trap.expectUntouched();
}

TEST(PrivateCacheTest, LinkSwappedInAfterTheLookIsNotFollowed) {
    TestPlatform test;
    static_cast<void>(privateCache(test.platform));
    std::optional<Trap> trap;
    test.files.before = [&](const std::string& operation, const std::string&) {
        if (operation == "Files.makePrivate") {
            std::filesystem::remove(test.cachePath());
            trap.emplace(test.cachePath(), TrapKind::linkToDirectory);
        }
    };
    EXPECT_THROW(static_cast<void>(privateCache(test.platform)), PlatformError);
    ASSERT_TRUE(trap);
    trap->expectUntouched();
}

TEST(PrivateCacheTest, LinksAboveItAreTakenAsTheyAre) {
    const TestPlatform test;
    std::filesystem::create_directory(test.home / "elsewhere");
    std::filesystem::create_symlink(test.home / "elsewhere", test.home / "Library");
    EXPECT_EQ(privateCache(test.platform), test.cachePath());
    EXPECT_EQ(permissionsOf(test.home / "elsewhere" / "Caches" / BuildConfig::installerIdentifier), 0700U);
}

TEST(PrivateCacheTest, WhatElseIsInTheWayIsTheErrorOfThePlatform) {
    for (const TrapKind kind : {TrapKind::danglingLink, TrapKind::link, TrapKind::fifo, TrapKind::socket}) {
        SCOPED_TRACE(nameOf(kind));
        const TestPlatform test;
        std::filesystem::create_directories(test.cachePath().parent_path());
        const Trap trap(test.cachePath(), kind);
        expectPlatformError(FileErrorCode::writeFileExists,
                            [&] { static_cast<void>(privateCache(test.platform)); });
        trap.expectUntouched();
    }
    const TestPlatform test;
    writeFile(test.home / "Library", "text");
    expectPlatformError(FileErrorCode::writeFileExists,
                        [&] { static_cast<void>(privateCache(test.platform)); });
    EXPECT_EQ(Testing::readFile(test.home / "Library"), "text");
}

TEST(PrivateCacheTest, ErrorOfEachStepIsPassedThrough) {
    for (const char* step :
         {"Files.homeDirectory", "Files.createDirectory", "Files.attributes", "Files.makePrivate"}) {
        for (const FileErrorCode code : {FileErrorCode::writeVolumeReadOnly, FileErrorCode::readNoPermission,
                                         FileErrorCode::readNoSuchFile}) {
            SCOPED_TRACE(step);
            TestPlatform test;
            test.files.failAt(step, 1, code);
            expectPlatformError(code, [&] { static_cast<void>(privateCache(test.platform)); });
            EXPECT_THAT(test.log.lines(), testing::IsEmpty());
        }
    }
}

TEST(PrivateCacheTest, EntryOfUnknownTypeIsNotTakenForALink) {
    TestPlatform test;
    Testing::MockFiles files;
    EXPECT_CALL(files, homeDirectory).WillOnce(testing::Return("/home"));
    EXPECT_CALL(files, createDirectory);
    EXPECT_CALL(files, attributes).WillOnce(testing::Return(FileAttributes{}));
    EXPECT_CALL(files, makePrivate);
    const Platform platform = test.with(files);
    EXPECT_EQ(privateCache(platform).parent_path(), "/home/Library/Caches");
}

TEST(PrivateCacheTest, UnreadableParentIsTheErrorOfThePlatform) {
    Testing::runInChild([] {
        Testing::dropPrivileges();
        const TestPlatform test;
        const std::filesystem::path library = test.home / "Library";
        std::filesystem::create_directory(library);
        std::filesystem::permissions(library, std::filesystem::perms::none);
        expectPlatformError(FileErrorCode::writeNoPermission,
                            [&] { static_cast<void>(privateCache(test.platform)); });
        std::filesystem::permissions(library, std::filesystem::perms{0700});
    });
}

TEST(IsImageNameTest, DigestOfTheTwoLengthsInLowerCase) {
    EXPECT_TRUE(isImageName(digest64 + ".dmg"));
    EXPECT_TRUE(isImageName(digest128 + ".dmg"));
    EXPECT_TRUE(isImageName("0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef.dmg"));
}

TEST(IsImageNameTest, NothingElse) {
    const std::string names[] = {
        "",
        ".dmg",
        "x.dmg",
        digest64,
        digest128,
        digest64 + ".dmg.etag",
        digest64 + ".dmg.part",
        digest64 + ".DMG",
        digest64 + ".dmg\n",
        digest64 + ".dmg ",
        " " + digest64 + ".dmg",
        digest64 + "dmg",
        std::string(63, 'a') + ".dmg",
        std::string(65, 'a') + ".dmg",
        std::string(96, 'a') + ".dmg",
        std::string(127, 'a') + ".dmg",
        std::string(129, 'a') + ".dmg",
        std::string(64, 'A') + ".dmg",
        std::string(63, 'a') + "g.dmg",
        std::string(63, 'a') + "F.dmg",
        std::string(63, 'a') + std::string(1, '\0') + ".dmg",
        std::string(62, 'a') + "é.dmg",
        "../" + std::string(61, 'a') + ".dmg",
    };
    for (const std::string& name : names) {
        EXPECT_FALSE(isImageName(name)) << name;
    }
}

} // namespace

} // namespace InstallerCore
