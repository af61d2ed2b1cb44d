#include "hosts/linux/window/ApplicationLauncher.h"

#include "hosts/posix/Descriptor.h"
#include "hosts/posix/ProcessesPosix.h"
#include "tests/support/TestPlatform.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

namespace InstallerCore {
namespace {

using testing::ElementsAre;
using Testing::FakeProcesses;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Testing::readFile;
using Testing::TestPlatform;
using Testing::writeFile;

class ApplicationLauncherTest : public testing::Test {
protected:
    void putInformation(const std::string& executable) const {
        std::filesystem::create_directories(application / "Contents/Linux");
        writeFile(application / "Contents/Info.plist",
                  R"(<plist version="1.0"><dict><key>CFBundleExecutable</key>)" + executable +
                      "</dict></plist>");
    }

    void putExecutable(const std::string& name, const std::string& script) const {
        const auto file = application / "Contents/Linux" / name;
        writeFile(file, "#!/bin/sh\n" + script);
        std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    }

    TestPlatform services;
    std::filesystem::path application = services.home / "Applications/Kavio.app";
};

void expectOpened(const OpenResult& result) {
    EXPECT_EQ(result.error, std::nullopt);
    EXPECT_TRUE(result.isRunning);
}

TEST_F(ApplicationLauncherTest, StartsTheExecutableThatThePropertyListNames) {
    putInformation("<string>Kavio für Linux</string>");
    putExecutable("Kavio", "");
    putExecutable("Kavio für Linux", "");
    expectOpened(launchApplication(application, services.platform));
    EXPECT_THAT(services.processes.calls,
                ElementsAre(FakeProcesses::Call{.executable = application / "Contents/Linux/Kavio für Linux",
                                                .arguments = {},
                                                .detached = true}));
}

TEST_F(ApplicationLauncherTest, CountsAnApplicationForAMacAloneAsOpened) {
    putInformation("<string>Kavio</string>");
    expectOpened(launchApplication(application, services.platform));
    std::filesystem::remove(application / "Contents/Linux");
    expectOpened(launchApplication(application, services.platform));
    EXPECT_THAT(services.processes.calls, IsEmpty());
}

TEST_F(ApplicationLauncherTest, CountsAnApplicationThatNamesNoExecutableAsOpened) {
    for (const std::string value : {"<integer>1</integer>", "<string></string>"}) {
        SCOPED_TRACE(value);
        putInformation(value);
        expectOpened(launchApplication(application, services.platform));
        EXPECT_THAT(services.processes.calls, IsEmpty());
    }
}

TEST_F(ApplicationLauncherTest, TellsWhatIsWrongWithTheBundle) {
    const OpenResult absent = launchApplication(application, services.platform);
    EXPECT_THAT(absent.error.value_or(""), Not(IsEmpty()));
    EXPECT_FALSE(absent.isRunning);

    putInformation("<string>Kavio</string>");
    writeFile(application / "Contents/Info.plist", "no property list");
    const OpenResult broken = launchApplication(application, services.platform);
    EXPECT_THAT(broken.error.value_or(""), Not(IsEmpty()));
    EXPECT_FALSE(broken.isRunning);
}

TEST_F(ApplicationLauncherTest, TellsThatTheExecutableCannotBeStarted) {
    putInformation("<string>Kavio</string>");
    putExecutable("Kavio", "");
    services.processes.detachedFailure = std::make_exception_ptr(std::runtime_error("no more processes"));
    const OpenResult result = launchApplication(application, services.platform);
    EXPECT_EQ(result.error, "no more processes");
    EXPECT_FALSE(result.isRunning);
}

TEST_F(ApplicationLauncherTest, HandsNothingOfOursToTheApplication) {
    const std::string report = services.home / "report";
    ASSERT_EQ(::mkfifo(report.c_str(), S_IRUSR | S_IWUSR), 0);
    putInformation("<string>Kavio</string>");
    putExecutable("Kavio", "{ cut -d ' ' -f 6 /proc/$$/stat; pwd -P; for entry in /proc/$$/fd/*; do "
                           "readlink $entry; done; } >'" +
                               report + "'\n");
    ProcessesPosix processes;
    const Platform platform{.http = services.http,
                            .files = services.files,
                            .digests = services.digests,
                            .clock = services.clock,
                            .system = services.system,
                            .log = services.log,
                            .folders = services.folders,
                            .processes = processes,
                            .propertyLists = services.propertyLists,
                            .codeSigning = services.codeSigning,
                            .workspace = services.workspace,
                            .languages = services.languages,
                            .resources = services.resources};
    const std::string lock = services.home / "installer.lock";
    const Descriptor inheritable(::open(lock.c_str(), O_RDWR | O_CREAT, S_IRUSR | S_IWUSR)); // NOLINT
    ASSERT_GE(inheritable.get(), 0);

    const OpenResult result = launchApplication(application, platform);
    expectOpened(result);
    ASSERT_TRUE(result.isRunning);
    const std::string told = readFile(report); // comes when the application has said it
    std::istringstream lines(told);
    pid_t session = 0;
    std::string directory;
    lines >> session >> directory;
    EXPECT_NE(session, ::getsid(0));
    EXPECT_EQ(directory, "/");
    EXPECT_THAT(told, HasSubstr("/dev/null"));
    EXPECT_THAT(told, Not(HasSubstr(lock)));
}

} // namespace
} // namespace InstallerCore
