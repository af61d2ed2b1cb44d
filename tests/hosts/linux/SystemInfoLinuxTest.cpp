#include "hosts/linux/SystemInfoLinux.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

namespace InstallerCore {

namespace {

std::string outputOf(const char* command) {
    std::FILE* const pipe = ::popen(command, "r");
    if (pipe == nullptr) {
        return {};
    }
    std::array<char, 256> buffer{};
    std::string output(buffer.data(), std::fread(buffer.data(), 1, buffer.size(), pipe));
    ::pclose(pipe);
    return output;
}

TEST(SystemInfoLinuxTest, ArchitectureIsTheMachines) {
    const std::string machine = outputOf("uname -m");
    ASSERT_FALSE(machine.empty());
    EXPECT_EQ(SystemInfoLinux().hasArm64(), machine == "aarch64\n");
}

TEST(SystemInfoLinuxTest, VersionIsThatOfTheSystemItStandsFor) {
    const SystemVersion version = SystemInfoLinux().version();
    EXPECT_EQ(version.major, 14);
    EXPECT_EQ(version.minor, 0);
    EXPECT_EQ(version.patch, 0);
}

} // namespace

} // namespace InstallerCore
