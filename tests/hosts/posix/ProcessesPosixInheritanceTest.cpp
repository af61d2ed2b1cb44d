#include "InstallerCore/download/DownloadCache.h"
#include "InstallerCore/install/InstanceLock.h"
#include "hosts/posix/ProcessesPosix.h"
#include "tests/hosts/posix/Fifo.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/EnvironmentVariable.h"
#include "tests/support/Expect.h"
#include "tests/support/TestPlatform.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <thread>

// What a child gets from this process, and what this process does to its children.
namespace InstallerCore {

namespace {

using Testing::expectPlatformError;
using Testing::Fifo;
using Testing::readFile;
using Testing::runInChild;
using Testing::TemporaryDirectory;
using Testing::writeFile;
using ErrorOutput = Processes::ErrorOutput;

ProcessResult runShell(const std::string& script, ErrorOutput errors = ErrorOutput::inherited) {
    return ProcessesPosix().run("/bin/sh", {"-c", script}, errors);
}

std::string outputOf(const std::string& executable, const std::vector<std::string>& arguments) {
    return std::string(asText(ProcessesPosix().run(executable, arguments, ErrorOutput::inherited).output));
}

// In a child: the descriptor leads to the file from now on.
void lead(int descriptor, const std::filesystem::path& file, int flags) {
    const int opened = ::open(file.c_str(), flags | O_CLOEXEC, 0600);
    ASSERT_GE(opened, 0);
    ASSERT_EQ(::dup2(opened, descriptor), descriptor);
    ::close(opened);
}

TEST(ProcessesPosixInheritanceTest, EnvironmentIsUnchanged) {
    const Testing::EnvironmentVariable odd("KAVIO_TEST_ODD", " a\n=b'\"$( ) \xFF");
    const Testing::EnvironmentVariable empty("KAVIO_TEST_EMPTY", "");
    std::string expected;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        expected += std::string(*variable) + '\0';
    }
    EXPECT_EQ(outputOf("/usr/bin/env", {"-0"}), expected);
}

TEST(ProcessesPosixInheritanceTest, WorkingDirectoryIsOurs) {
    EXPECT_EQ(outputOf("/bin/readlink", {"/proc/self/cwd"}), std::filesystem::current_path().string() + "\n");
}

TEST(ProcessesPosixInheritanceTest, StandardInputIsOurs) {
    const TemporaryDirectory folder;
    writeFile(folder / "input", "from our input");
    runInChild([&] {
        lead(STDIN_FILENO, folder / "input", O_RDONLY);
        EXPECT_EQ(outputOf("/bin/cat", {}), "from our input");
    });
}

TEST(ProcessesPosixInheritanceTest, StandardErrorPassesThroughOrIsDiscarded) {
    const TemporaryDirectory folder;
    runInChild([&] {
        lead(STDERR_FILENO, folder / "errors", O_WRONLY | O_CREAT | O_APPEND);
        EXPECT_EQ(asText(runShell("echo out; echo passed >&2").output), "out\n");
        EXPECT_EQ(asText(runShell("echo out; echo dropped >&2", ErrorOutput::discarded).output), "out\n");
        EXPECT_EQ(asText(runShell("readlink /proc/$$/fd/2; :", ErrorOutput::discarded).output),
                  "/dev/null\n");
    });
    EXPECT_EQ(readFile(folder / "errors"), "passed\n");
}

// The listing itself needs the first number that is free.
TEST(ProcessesPosixInheritanceTest, OnlyTheStandardStreamsAreInherited) {
    runInChild([] {
        ASSERT_GE(::dup2(STDERR_FILENO, 3), 0); // without the flag that closes it
        ASSERT_GE(::dup2(STDERR_FILENO, 100), 0);
        EXPECT_EQ(outputOf("/bin/ls", {"/proc/self/fd"}), "0\n1\n2\n3\n");
    });
}

TEST(ProcessesPosixInheritanceTest, OwnStandardStreamsMayBeClosed) {
    for (const std::vector<int>& closed : {std::vector{0}, {1}, {0, 1}, {0, 1, 2}}) {
        const TemporaryDirectory folder;
        runInChild([&] {
            const int kept = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 10);
            for (const int descriptor : closed) {
                ::close(descriptor);
            }
            const ProcessResult inherited = runShell("echo word");
            const ProcessResult discarded = runShell("echo word", ErrorOutput::discarded);
            ::dup2(kept, STDOUT_FILENO);
            ::dup2(kept, STDERR_FILENO);
            EXPECT_EQ(asText(inherited.output), "word\n");
            EXPECT_EQ(asText(discarded.output), "word\n");
        });
    }
}

// Whatever a system does with a descriptor of ours that has the number of a child's stream.
TEST(ProcessesPosixInheritanceTest, PipeTakesNoPlaceOfAStandardStream) {
    runInChild([] {
        const int kept = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 10);
        ::close(STDIN_FILENO);
        ::close(STDOUT_FILENO);
        const ProcessResult result =
            runShell("cd /proc/$PPID/fd; for n in 0 1 2; do [ -e $n ] && echo $n; done");
        ::dup2(kept, STDOUT_FILENO);
        EXPECT_EQ(asText(result.output), "2\n");
    });
}

TEST(ProcessesPosixInheritanceTest, InstanceLockIsNotInherited) {
    Testing::TestPlatform test;
    const auto cache = privateCache(test.platform);
    auto held = takeInstanceLock(cache, test.platform);
    const Fifo answers;
    const Fifo orders;
    const std::string script = "echo alive >'" + answers.path() + "'; read line <'" + orders.path() + "'";
    std::thread running([&] { static_cast<void>(runShell(script)); });
    ProcessesPosix().startDetached("/bin/sh", {"-c", script});
    EXPECT_EQ(answers.line(), "alive");
    EXPECT_EQ(answers.line(), "alive");
    held.reset();
    EXPECT_NE(takeInstanceLock(cache, test.platform), nullptr);
    orders.send("");
    orders.send("");
    running.join();
}

TEST(ProcessesPosixInheritanceTest, SignalsAreAsAProgramExpectsThem) {
    runInChild([] {
        std::signal(SIGPIPE, SIG_IGN);
        sigset_t all;
        ::sigfillset(&all);
        ASSERT_EQ(::sigprocmask(SIG_BLOCK, &all, nullptr), 0);
        EXPECT_EQ(outputOf("/bin/grep", {"^SigBlk:", "/proc/self/status"}), "SigBlk:\t0000000000000000\n");
        const std::string ignored = outputOf("/bin/grep", {"^SigIgn:", "/proc/self/status"});
        const std::uint64_t mask = std::stoull(ignored.substr(8), nullptr, 16);
        EXPECT_EQ(mask & (std::uint64_t{1} << (SIGPIPE - 1)), 0U) << ignored;
        EXPECT_EQ(mask & (std::uint64_t{1} << (SIGCHLD - 1)), 0U) << ignored;
    });
}

TEST(ProcessesPosixInheritanceTest, SignalsDoNotDisturbTheWait) {
    runInChild([] {
        struct sigaction action{};
        action.sa_handler = [](int) {}; // without SA_RESTART: every blocking call is interrupted
        ASSERT_EQ(::sigaction(SIGALRM, &action, nullptr), 0);
        const itimerval often{.it_interval = {.tv_sec = 0, .tv_usec = 200},
                              .it_value = {.tv_sec = 0, .tv_usec = 200}};
        ASSERT_EQ(::setitimer(ITIMER_REAL, &often, nullptr), 0);
        for (int status = 0; status < 10; ++status) {
            const ProcessResult result =
                runShell("for i in 1 2 3; do sleep 0.01; echo $i; done; exec 1>&-; sleep 0.01; exit " +
                         std::to_string(status));
            EXPECT_EQ(asText(result.output), "1\n2\n3\n");
            EXPECT_EQ(result.status, status);
        }
    });
}

// The system does not keep the end of a child then; no status is made up.
TEST(ProcessesPosixInheritanceTest, EndThatNobodyKeptIsAnError) {
    const TemporaryDirectory folder;
    runInChild([&] {
        std::signal(SIGCHLD, SIG_IGN);
        expectPlatformError(ProcessErrorCode::cannotLaunch, [&] {
            static_cast<void>(runShell("echo done >'" + (folder / "file").string() + "'"));
        });
        EXPECT_EQ(readFile(folder / "file"), "done\n") << "it was waited for all the same";
    });
}

} // namespace

} // namespace InstallerCore
