#include "InstallerCore/install/InstanceLock.h"

#include "InstallerCore/download/DownloadCache.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/Trap.h"

#include <gmock/gmock.h>

#include <string>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using Testing::expectInstallerError;
using Testing::Trap;
using Testing::TrapKind;
using Testing::WaitingChild;

constexpr const char* refusal = "Another Kavio installer is already running";

class InstanceLockTest : public testing::Test {
protected:
    [[nodiscard]] std::unique_ptr<FileLock> take() { return takeInstanceLock(cache_, test_.platform); }

    void expectRefused() {
        expectInstallerError(refusal, [this] { static_cast<void>(take()); });
    }

    Testing::TestPlatform test_;
    std::filesystem::path cache_ = privateCache(test_.platform);
};

TEST_F(InstanceLockTest, FileIsMadeForTheOwnerOnlyAndStaysWhenTheLockGoes) {
    EXPECT_NE(take(), nullptr);
    EXPECT_THAT(test_.realFiles.openDirectory(cache_)->names(), testing::ElementsAre("installer.lock"));
    EXPECT_EQ(Testing::readFile(cache_ / "installer.lock"), "");
    EXPECT_EQ(Testing::permissionsOf(cache_ / "installer.lock"), 0600U);
    EXPECT_NE(take(), nullptr);
}

TEST_F(InstanceLockTest, SecondInstanceInTheProcessIsRefused) {
    auto first = take();
    expectRefused();
    expectRefused();
    first.reset();
    EXPECT_NE(take(), nullptr);
}

TEST_F(InstanceLockTest, SecondProcessIsRefused) {
    const auto held = take();
    Testing::runInChild([this] { expectRefused(); });
}

TEST_F(InstanceLockTest, ProcessThatIsKilledLetsGo) {
    std::unique_ptr<FileLock> held;
    WaitingChild first([&] {
        held = take();
        return held != nullptr;
    });
    EXPECT_TRUE(first.result());
    expectRefused();
    first.kill();
    EXPECT_NE(take(), nullptr);
}

TEST_F(InstanceLockTest, InstallersOfTwoCachesDoNotMeet) {
    Testing::TestPlatform other;
    const auto held = take();
    EXPECT_NE(takeInstanceLock(privateCache(other.platform), other.platform), nullptr);
}

TEST_F(InstanceLockTest, TrapInPlaceOfTheFileIsRefused) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(cache_ / "installer.lock", kind);
        expectRefused();
        trap.expectUntouched();
        std::filesystem::remove(cache_ / "installer.lock");
    }
}

TEST_F(InstanceLockTest, LinkInPlaceOfTheCacheIsRefused) {
    std::filesystem::remove(cache_);
    const Trap trap(cache_, TrapKind::linkToDirectory);
    expectRefused();
    trap.expectUntouched();
}

TEST_F(InstanceLockTest, EachFailureOfThePlatformIsARefusal) {
    for (const char* operation : {"Files.openDirectory", "Directory.lock"}) {
        test_.files.failAt(operation, 1, FileErrorCode::writeVolumeReadOnly);
        expectRefused();
    }
    expectInstallerError(refusal,
                         [this] { static_cast<void>(takeInstanceLock(cache_ / "missing", test_.platform)); });
}

} // namespace

} // namespace InstallerCore
