#include "hosts/linux/SystemInfoLinux.h"

#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

TEST(SystemInfoLinuxTest, ArchitectureIsTheMachines) {
    EXPECT_EQ(SystemInfoLinux().hasArm64(), Testing::outputOf("uname -m") == "aarch64\n");
}

TEST(SystemInfoLinuxTest, VersionIsThatOfTheSystemItStandsFor) {
    const SystemVersion version = SystemInfoLinux().version();
    EXPECT_EQ(version.major, 14);
    EXPECT_EQ(version.minor, 0);
    EXPECT_EQ(version.patch, 0);
}

} // namespace

} // namespace InstallerCore
