#include "InstallerCore/support/PlatformError.h"
#include "hosts/posix/FilesPosix.h"
#include "tests/hosts/posix/SystemCalls.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Trap.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <optional>
#include <string>
#include <thread>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using Testing::expectPlatformError;
using Testing::permissionsOf;
using Testing::readFile;
using Testing::runInChild;
using Testing::Trap;
using Testing::TrapKind;
using Testing::writeFile;

class DirectoryPosixReplaceTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path place() const { return folder_ / "entry"; }

    [[nodiscard]] const std::filesystem::path& path() const { return folder_.path(); }

    [[nodiscard]] std::unique_ptr<Directory> directory() { return files_.openDirectory(folder_.path()); }

private:
    Testing::TemporaryDirectory folder_;
    FilesPosix files_{folder_.path()};
};

TEST_F(DirectoryPosixReplaceTest, WritesTheWholeContentForTheOwnerOnly) {
    for (const std::string& content : {std::string("text"), std::string(), std::string(3'000'000, 'x')}) {
        directory()->replace("entry", asBytes(content));
        EXPECT_EQ(readFile(place()), content);
        EXPECT_EQ(permissionsOf(place()), 0600U);
        EXPECT_THAT(directory()->names(), testing::ElementsAre("entry"));
    }
}

TEST_F(DirectoryPosixReplaceTest, FileAndThenDirectoryAreOnTheDiskAroundTheRename) {
    const auto target = directory();
    std::vector<std::string> calls;
    Testing::beforeSystemCall = [&](const std::string& call) {
        if (call == "fsync" || call == "renameat") {
            calls.push_back(call);
        }
    };
    target->replace("entry", asBytes("text"));
    Testing::beforeSystemCall = nullptr;
    EXPECT_THAT(calls, testing::ElementsAre("fsync", "renameat", "fsync"));
}

TEST_F(DirectoryPosixReplaceTest, ContentThatDoesNotReachTheDiskReplacesNothing) {
    directory()->replace("entry", asBytes("old"));
    const Testing::FailingCall failing("fsync", EIO);
    expectPlatformError(FileErrorCode::writeUnknown,
                        [this] { directory()->replace("entry", asBytes("new")); });
    EXPECT_EQ(readFile(place()), "old");
    EXPECT_THAT(directory()->names(), testing::ElementsAre("entry"));
}

TEST_F(DirectoryPosixReplaceTest, NameThatDoesNotReachTheDiskIsToldButStays) {
    for (const int error : {EIO, EINVAL}) {
        directory()->replace("entry", asBytes("old"));
        std::optional<Testing::FailingCall> failing;
        const Testing::StepIn stepIn("renameat", [&] { failing.emplace("fsync", error); });
        if (error == EINVAL) { // of a file system that has no such step
            directory()->replace("entry", asBytes("new"));
        } else {
            expectPlatformError(FileErrorCode::writeUnknown,
                                [this] { directory()->replace("entry", asBytes("new")); });
        }
        EXPECT_TRUE(stepIn.done());
        EXPECT_EQ(readFile(place()), "new");
        EXPECT_THAT(directory()->names(), testing::ElementsAre("entry"));
    }
}

TEST_F(DirectoryPosixReplaceTest, PermissionsOfTheOldFileDoNotStay) {
    writeFile(place(), "old");
    std::filesystem::permissions(place(), std::filesystem::perms{0666});
    directory()->replace("entry", asBytes("new"));
    EXPECT_EQ(permissionsOf(place()), 0600U);
}

TEST_F(DirectoryPosixReplaceTest, AnotherNameOfTheOldFileKeepsItsContent) {
    writeFile(place(), "old");
    std::filesystem::create_hard_link(place(), path() / "other");
    directory()->replace("entry", asBytes("new"));
    EXPECT_EQ(readFile(place()), "new");
    EXPECT_EQ(readFile(path() / "other"), "old");
}

TEST_F(DirectoryPosixReplaceTest, TakesThePlaceOfATrapWithoutGoingThroughIt) {
    for (const TrapKind kind : allTraps) {
        if (kind == TrapKind::directory) {
            continue;
        }
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place(), kind);
        directory()->replace("entry", asBytes("text"));
        EXPECT_EQ(directory()->attributes("entry").type, FileType::regular);
        EXPECT_EQ(readFile(place()), "text");
        trap.expectOutsideUntouched();
        directory()->remove("entry");
        EXPECT_THAT(directory()->names(), testing::IsEmpty());
    }
}

TEST_F(DirectoryPosixReplaceTest, DirectoryInTheWayStaysAndNothingIsLeftBehind) {
    std::filesystem::create_directory(place());
    expectPlatformError(FileErrorCode::writeUnknown,
                        [this] { directory()->replace("entry", asBytes("text")); });
    EXPECT_TRUE(std::filesystem::is_directory(place()));
    EXPECT_THAT(directory()->names(), testing::ElementsAre("entry"));
}

TEST_F(DirectoryPosixReplaceTest, WhatAKilledProcessLeftIsCleared) {
    writeFile(path() / ".new-entry", "half");
    directory()->replace("entry", asBytes("text"));
    EXPECT_EQ(readFile(place()), "text");
    EXPECT_THAT(directory()->names(), testing::ElementsAre("entry"));
}

TEST_F(DirectoryPosixReplaceTest, UnusableNameLeavesNothingBehind) {
    expectPlatformError(FileErrorCode::writeInvalidName,
                        [this] { directory()->replace(std::string(256, 'n'), asBytes("text")); });
    EXPECT_THAT(directory()->names(), testing::IsEmpty());
}

TEST_F(DirectoryPosixReplaceTest, LongestNameCanBeUsed) {
    const std::string name(255, 'n');
    directory()->replace(name, asBytes("text"));
    EXPECT_EQ(readFile(path() / name), "text");
}

TEST_F(DirectoryPosixReplaceTest, FullVolumeKeepsTheOldContentAndNothingElse) {
    runInChild([this] {
        if (!Testing::mountVolume(path(), "size=64k")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        directory()->replace("entry", asBytes("old"));
        const std::string tooMuch(100'000, 'x');
        expectPlatformError(FileErrorCode::writeOutOfSpace,
                            [&] { directory()->replace("entry", asBytes(tooMuch)); });
        EXPECT_EQ(readFile(place()), "old");
        EXPECT_THAT(directory()->names(), testing::ElementsAre("entry"));
    });
}

TEST_F(DirectoryPosixReplaceTest, VolumeWithoutRoomForAFileIsOutOfSpace) {
    runInChild([this] {
        if (!Testing::mountVolume(path(), "size=64k,nr_inodes=2")) { // its root and one file
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        directory()->createIfMissing("entry");
        directory()->createIfMissing("second");
        expectPlatformError(FileErrorCode::writeOutOfSpace,
                            [&] { directory()->replace("entry", asBytes("text")); });
        EXPECT_THAT(directory()->names(), testing::ElementsAre("entry"));
    });
}

TEST_F(DirectoryPosixReplaceTest, FileBeyondTheLimitOfTheProcessLeavesNothingBehind) {
    writeFile(place(), "old");
    runInChild([this] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{.rlim_cur = 2, .rlim_max = 2};
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        expectPlatformError(FileErrorCode::writeUnknown,
                            [&] { directory()->replace("entry", asBytes("new")); });
    });
    EXPECT_EQ(readFile(place()), "old");
    EXPECT_THAT(directory()->names(), testing::ElementsAre("entry"));
}

TEST_F(DirectoryPosixReplaceTest, ReaderSeesTheOldOrTheNewContentNeverAMixture) {
    constexpr int rounds = 50;
    const std::string contents[] = {std::string(10'000, 'a'), std::string(20'000, 'b')};
    writeFile(place(), contents[0]);
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (int round = 0; round < rounds; ++round) {
            directory()->replace("entry", asBytes(contents[round % 2]));
        }
        done = true;
    });
    int mixtures = 0;
    while (!done) {
        const std::string seen = readFile(place());
        mixtures += seen == contents[0] || seen == contents[1] ? 0 : 1;
    }
    writer.join();
    EXPECT_EQ(mixtures, 0);
    EXPECT_THAT(directory()->names(), testing::ElementsAre("entry"));
}

} // namespace

} // namespace InstallerCore
