#include "hosts/linux/LinuxHost.h"

#include "InstallerCore/download/HashFile.h"
#include "InstallerCore/install/RunTool.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <type_traits>

namespace InstallerCore {

namespace {

// A copy's platform would refer to the services of the original.
static_assert(!std::is_copy_constructible_v<LinuxHost> && !std::is_move_constructible_v<LinuxHost>);
static_assert(!std::is_copy_assignable_v<LinuxHost> && !std::is_move_assignable_v<LinuxHost>);

TEST(LinuxHostTest, ServicesAreTheSystemsOwn) {
    const LinuxHost host;
    const Platform& platform = host.platform();
    EXPECT_TRUE(platform.files.homeDirectory().is_absolute());
    EXPECT_EQ(platform.system.hasArm64(), SystemInfoLinux().hasArm64());
    EXPECT_NE(dynamic_cast<const HttpCurl*>(&platform.http), nullptr);
    EXPECT_EQ(dynamic_cast<const HttpCurl&>(platform.http).timeouts().idle, std::chrono::seconds(30));
    const auto before = std::chrono::system_clock::now();
    EXPECT_GE(platform.clock.now(), before);
}

TEST(LinuxHostTest, InstallationRunsOnTheSystemsOwn) {
    const LinuxHost host;
    const Platform& platform = host.platform();
    EXPECT_EQ(platform.processes.ownIdentifier(), ::getpid());
    EXPECT_EQ(asText(run("/bin/echo", {"word"}, platform)), "word\n");
    EXPECT_TRUE(platform.folders.exists("/proc"));
    EXPECT_NE(platform.propertyLists.parse(asBytes("<plist><dict/></plist>")).dictionary(), nullptr);
    EXPECT_FALSE(platform.workspace.isRunning("test.kavio.never"));
    EXPECT_EQ(platform.paths.hdiutil, "/usr/bin/hdiutil");
    EXPECT_EQ(platform.paths.ditto, "/usr/bin/ditto");
    EXPECT_EQ(platform.paths.spctl, "/usr/sbin/spctl");
    EXPECT_EQ(platform.paths.shell, "/bin/sh");
    EXPECT_EQ(platform.paths.volumes, "/Volumes");
}

// Until signatures can be checked, no application is accepted.
TEST(LinuxHostTest, NothingCountsAsSigned) {
    const LinuxHost host;
    EXPECT_EQ(host.platform().codeSigning.staticCode("/bin/sh"), nullptr);
    EXPECT_EQ(host.platform().codeSigning.requirement("anchor apple generic"), nullptr);
}

TEST(LinuxHostTest, CoreRunsOnIt) {
    const LinuxHost host;
    const Testing::TemporaryDirectory directory;
    Testing::writeFile(directory / "file", "abc");
    EXPECT_EQ(hashFile(directory / "file", host.platform()).substr(0, 16), "ddaf35a193617aba");
}

} // namespace

} // namespace InstallerCore
