#include "hosts/linux/LinuxHost.h"

#include "InstallerCore/download/HashFile.h"
#include "InstallerCore/install/RunTool.h"
#include "tests/support/EnvironmentVariable.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <type_traits>
#include <vector>

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

TEST(LinuxHostTest, SignaturesAreChecked) {
    const LinuxHost host;
    const CodeSigning& signing = host.platform().codeSigning;
    EXPECT_EQ(signing.requirement("nonsense"), nullptr);
    const auto requirement = signing.requirement("anchor apple generic");
    const auto code = signing.staticCode("/bin/sh"); // code, but nobody signed it
    ASSERT_NE(requirement, nullptr);
    ASSERT_NE(code, nullptr);
    EXPECT_FALSE(code->isValid(*requirement));
}

TEST(LinuxHostTest, ResourcesAreOfTheProgramOrOfTheDirectoryGiven) {
    const Testing::TemporaryDirectory directory;
    Testing::writeFile(directory / "word.json", "{}");
    EXPECT_EQ(LinuxHost(directory.path()).platform().resources.find("word", "json"), std::nullopt);
    EXPECT_EQ(LinuxHost(directory.path(), directory.path()).platform().resources.find("word", "json"),
              directory / "word.json");
}

TEST(LinuxHostTest, LanguagesAreOfTheEnvironment) {
    const Testing::EnvironmentVariable language("LANGUAGE", "ja:fr_FR");
    const Testing::EnvironmentVariable all("LC_ALL", "en_US.UTF-8");
    const LinuxHost host;
    EXPECT_EQ(host.platform().languages.preferred(), (std::vector<std::string>{"ja", "fr-FR"}));
    EXPECT_EQ(host.platform().languages.percent(0.5, "en-US"), "50.0%");
}

TEST(LinuxHostTest, CoreRunsOnIt) {
    const LinuxHost host;
    const Testing::TemporaryDirectory directory;
    Testing::writeFile(directory / "file", "abc");
    EXPECT_EQ(hashFile(directory / "file", host.platform()).substr(0, 16), "ddaf35a193617aba");
}

} // namespace

} // namespace InstallerCore
