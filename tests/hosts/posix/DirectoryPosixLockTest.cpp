#include "InstallerCore/support/PlatformError.h"
#include "hosts/posix/FilesPosix.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Trap.h"

#include <gtest/gtest.h>

#include <string>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using Testing::expectPlatformError;
using Testing::Trap;
using Testing::TrapKind;
using Testing::WaitingChild;

class DirectoryPosixLockTest : public testing::Test {
protected:
    [[nodiscard]] std::unique_ptr<FileLock> lock(const std::string& name = "lock") {
        return files_.openDirectory(folder_.path())->lock(name);
    }

    [[nodiscard]] std::filesystem::path place(const std::string& name = "lock") const {
        return folder_ / name;
    }

private:
    Testing::TemporaryDirectory folder_;
    FilesPosix files_{folder_.path()};
};

TEST_F(DirectoryPosixLockTest, FileIsMadeForTheOwnerOnlyAndStays) {
    EXPECT_NE(lock(), nullptr);
    EXPECT_EQ(Testing::readFile(place()), "");
    EXPECT_EQ(Testing::permissionsOf(place()), 0600U);
}

TEST_F(DirectoryPosixLockTest, FileKeepsWhatIsInIt) {
    Testing::writeFile(place(), "text");
    EXPECT_NE(lock(), nullptr);
    EXPECT_EQ(Testing::readFile(place()), "text");
}

TEST_F(DirectoryPosixLockTest, HeldAsLongAsTheObjectLives) {
    auto first = lock();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(lock(), nullptr);
    EXPECT_EQ(lock(), nullptr);
    EXPECT_NE(lock("another"), nullptr);
    first.reset();
    EXPECT_NE(lock(), nullptr);
}

TEST_F(DirectoryPosixLockTest, HeldByAnotherProcessUntilThatIsKilled) {
    std::unique_ptr<FileLock> held;
    WaitingChild holder([&] {
        held = lock();
        return held != nullptr;
    });
    EXPECT_TRUE(holder.result());
    EXPECT_EQ(lock(), nullptr);
    holder.kill();
    EXPECT_NE(lock(), nullptr);
}

TEST_F(DirectoryPosixLockTest, AnotherProcessGetsNoneWhileItIsHeldHere) {
    const auto held = lock();
    const WaitingChild other([&] { return lock() != nullptr; });
    EXPECT_FALSE(other.result());
}

TEST_F(DirectoryPosixLockTest, ProgramStartedMeanwhileDoesNotInheritIt) {
    auto held = lock();
    ASSERT_NE(held, nullptr);

    Testing::Program program({"/bin/cat"}); // lives until its input ends
    ASSERT_TRUE(program.echoes()) << "it has not got as far as to run";
    held.reset();
    EXPECT_NE(lock(), nullptr);
    EXPECT_TRUE(program.echoes()) << "it ended too early to prove anything";
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(DirectoryPosixLockTest, TrapIsNotLocked) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place(nameOf(kind)), kind);
        expectPlatformError(FileErrorCode::notRegularFile, [&] { static_cast<void>(lock(nameOf(kind))); });
        trap.expectUntouched();
    }
    const auto devices = FilesPosix("/").openDirectory("/dev");
    expectPlatformError(FileErrorCode::notRegularFile, [&] { static_cast<void>(devices->lock("null")); });
}

TEST_F(DirectoryPosixLockTest, PlaceThatCannotBeWrittenIsAnError) {
    Testing::runInChild([] {
        Testing::dropPrivileges();
        const Testing::TemporaryDirectory own;
        const auto directory = FilesPosix(own.path()).openDirectory(own.path());
        Testing::writeFile(own / "lock", "");
        std::filesystem::permissions(own / "lock", std::filesystem::perms{0400});
        std::filesystem::permissions(own.path(), std::filesystem::perms{0500});
        expectPlatformError(FileErrorCode::writeNoPermission,
                            [&] { static_cast<void>(directory->lock("lock")); });
        expectPlatformError(FileErrorCode::readNoSuchFile,
                            [&] { static_cast<void>(directory->lock("another")); });
        std::filesystem::permissions(own.path(), std::filesystem::perms{0700});
    });
}

} // namespace

} // namespace InstallerCore
