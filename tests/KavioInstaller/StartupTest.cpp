#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/config/Config.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

namespace InstallerCore {

namespace {

struct Ended {
    int status = 0; // a signal as a negative number
    std::string output;
    std::string errors;
};

// Runs the program to its end with nothing for input.
Ended run(const char* program) {
    const Testing::TemporaryDirectory directory;
    const auto output = directory / "output";
    const auto errors = directory / "errors";
    const pid_t child = ::fork();
    if (child == 0) {
        constexpr int create = O_WRONLY | O_CREAT | O_EXCL;
        ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
        ::dup2(::open(output.c_str(), create, 0600), STDOUT_FILENO);
        ::dup2(::open(errors.c_str(), create, 0600), STDERR_FILENO);
        ::execl(program, program, nullptr);
        ::_exit(127);
    }
    const int status = Testing::waitFor(child);
    return {status, Testing::readFile(output), Testing::readFile(errors)};
}

TEST(StartupTest, AProgramRunsOnTheConfigurationInsideIt) {
    const Ended ended = run(STARTUP_AS_BUILT);
    EXPECT_EQ(ended.status, 7);
    EXPECT_EQ(ended.output, Config::decode(BuildConfig::json()).bundleID + "\n");
    EXPECT_EQ(ended.errors, "");
}

TEST(StartupTest, MalformedBase64IsFatal) {
    const Ended ended = run(STARTUP_WITH_BROKEN_BASE64);
    EXPECT_EQ(ended.status, -SIGABRT);
    EXPECT_EQ(ended.output, "");
}

TEST(StartupTest, InvalidJsonIsReportedAndEndsInStatusOne) {
    const Ended ended = run(STARTUP_WITH_BROKEN_JSON);
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors, "Invalid installer configuration: The data is not valid JSON.\n");
}

} // namespace

} // namespace InstallerCore
