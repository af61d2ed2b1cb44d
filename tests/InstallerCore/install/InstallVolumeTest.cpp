#include "tests/InstallerCore/install/InstallScene.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::InstallScene;
using testing::IsEmpty;
using Testing::runInChild;
using Testing::treeAt;

// Destinations that real volumes and permissions make impossible.
class InstallVolumeTest : public testing::Test {
protected:
    void expectError(const std::string& text) {
        expectInstallerError(text, [this] { static_cast<void>(scene_.install()); });
    }

    template <typename Code>
    void expectSystemError(Code code) {
        expectPlatformError(code, [this] { static_cast<void>(scene_.install()); });
    }

    // The destination holds that version, or nothing, and nothing else; the image is detached.
    void expectAsBefore(const std::string& version) const {
        EXPECT_EQ(treeAt(scene_.target), version.empty() ? Testing::Tree() : InstallScene::genuine(version));
        EXPECT_THAT(scene_.stagingDirectories(), IsEmpty());
        EXPECT_FALSE(scene_.isAttached());
    }

    InstallScene scene_;
    Testing::TestPlatform& test_ = scene_.test;
};

TEST_F(InstallVolumeTest, DestinationThatIsNotWritableIsRefused) {
    std::filesystem::permissions(test_.home.path(), std::filesystem::perms{0755});
    std::filesystem::permissions(scene_.directory, std::filesystem::perms{0555});
    runInChild([this] {
        Testing::dropPrivileges();
        expectError("Applications is not writable. Check folder permissions or use the full DMG");
    });
    std::filesystem::permissions(scene_.directory, std::filesystem::perms{0755});
    expectAsBefore("");
    std::filesystem::remove_all(scene_.directory);
    expectError("Applications is not writable. Check folder permissions or use the full DMG");
}

TEST_F(InstallVolumeTest, ReadOnlyVolumeIsRefused) {
    runInChild([this] {
        if (!Testing::mountVolume(scene_.directory, "size=1m,ro")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        // The volume can be seen to be one only where writing is asked for what it is.
        expectError("Applications is not writable. Check folder permissions or use the full DMG");
    });
}

// A mount point cannot be moved aside.
TEST_F(InstallVolumeTest, TargetOnAnotherVolumeStays) {
    std::filesystem::create_directory(scene_.target);
    runInChild([this] {
        if (!Testing::mountVolume(scene_.target, "size=1m")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        InstallScene::make(scene_.target, "1.0.0");
        expectSystemError(FileErrorCode::writeUnknown);
        expectAsBefore("1.0.0");
    });
}

void setImmutable(const std::filesystem::path& path, bool immutable, bool& permitted) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    int flags = 0;
    permitted = ::ioctl(file, FS_IOC_GETFLAGS, &flags) == 0;
    flags = immutable ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
    permitted = permitted && ::ioctl(file, FS_IOC_SETFLAGS, &flags) == 0;
    ::close(file);
}

TEST_F(InstallVolumeTest, ImmutableTargetStays) {
    InstallScene::make(scene_.target, "1.0.0");
    bool permitted = false;
    setImmutable(scene_.target, true, permitted);
    if (!permitted) {
        GTEST_SKIP() << "making a directory immutable is not permitted here";
    }
    expectSystemError(FileErrorCode::writeNoPermission);
    setImmutable(scene_.target, false, permitted);
    expectAsBefore("1.0.0");
}

} // namespace

} // namespace InstallerCore
