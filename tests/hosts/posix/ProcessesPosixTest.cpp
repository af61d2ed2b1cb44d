#include "hosts/posix/ProcessesPosix.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <thread>

namespace InstallerCore {

namespace {

using Testing::expectPlatformError;
using Testing::readFile;
using Testing::runInChild;
using Testing::TemporaryDirectory;
using Testing::writeFile;
using Arguments = std::vector<std::string>;

ProcessResult runProgram(const std::string& executable, const Arguments& arguments) {
    return ProcessesPosix().run(executable, arguments, Processes::ErrorOutput::inherited);
}

ProcessResult runShell(const std::string& script, Arguments arguments = {}) {
    arguments.insert(arguments.begin(), {"-c", script, "shell"});
    return runProgram("/bin/sh", arguments);
}

std::string outputOf(const std::string& script, Arguments arguments = {}) {
    return std::string(asText(runShell(script, std::move(arguments)).output));
}

std::string joined(const Arguments& arguments) {
    std::string result;
    for (const std::string& argument : arguments) {
        result += argument + '\0';
    }
    return result;
}

// Whether they arrive: the system keeps what a process was given, each with a NUL behind it. The second
// command keeps the shell from becoming the first.
bool arrive(const Arguments& arguments) {
    const std::string script = "cat /proc/$$/cmdline; :";
    return outputOf(script, arguments) == joined({"/bin/sh", "-c", script, "shell"}) + joined(arguments);
}

void expectLaunchError(ProcessErrorCode code, const std::string& executable) {
    SCOPED_TRACE(executable);
    expectPlatformError(code, [&] { static_cast<void>(runProgram(executable, {})); });
    expectPlatformError(code, [&] { ProcessesPosix().startDetached(executable, {}); });
}

TEST(ProcessesPosixTest, ArgumentsArriveByteForByte) {
    const Arguments arguments{"",          " ",         "two words", "\"quoted\"",   "it's",   "line\nfeed",
                              "$(id)",     "`id`",      "*",         "a;b&c|d>e<f",  "\\back", "-dash",
                              "\xFF\x01x", "caf\u00E9", "%s%n",      "trailing \n ", ""};
    EXPECT_TRUE(arrive(arguments));
    EXPECT_TRUE(arrive({}));
}

TEST(ProcessesPosixTest, TenThousandArgumentsArrive) {
    Arguments arguments;
    for (int index = 0; index < 10'000; ++index) {
        arguments.push_back("argument " + std::to_string(index));
    }
    EXPECT_TRUE(arrive(arguments));
}

TEST(ProcessesPosixTest, NoShellIsBetween) {
    const ProcessResult result = runProgram("/bin/echo", {"$HOME", "*", "a  b"});
    EXPECT_EQ(asText(result.output), "$HOME * a  b\n");
}

TEST(ProcessesPosixTest, TextThatIsCutByNulIsNotPassedOn) {
    using namespace std::string_literals;
    expectPlatformError(ProcessErrorCode::cannotLaunch,
                        [] { static_cast<void>(runProgram("/bin/echo", {"a\0b"s})); });
    expectPlatformError(ProcessErrorCode::cannotLaunch,
                        [] { static_cast<void>(runProgram("/bin/echo\0x"s, {})); });
    expectPlatformError(ProcessErrorCode::cannotLaunch,
                        [] { ProcessesPosix().startDetached("/bin/echo", {"\0"s}); });
}

TEST(ProcessesPosixTest, OutputIsKeptWhateverItsBytes) {
    const TemporaryDirectory folder;
    std::string content;
    for (int index = 0; index < 4096; ++index) {
        content += static_cast<char>(index % 256);
    }
    writeFile(folder / "bytes", content);
    EXPECT_EQ(asText(runProgram("/bin/cat", {folder / "bytes"}).output), content);
    EXPECT_EQ(asText(runProgram("/bin/cat", {"/dev/null"}).output), "");
}

TEST(ProcessesPosixTest, OutputLargerThanEveryPipeIsWhole) {
    const TemporaryDirectory folder;
    constexpr std::size_t size = 5'000'017;
    std::string content;
    for (std::size_t line = 0; content.size() < size; ++line) {
        content += std::to_string(line) + '\n';
    }
    writeFile(folder / "large", content);
    const ProcessResult result = runProgram("/bin/cat", {folder / "large"});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(asText(result.output) == content) << result.output.size();
}

TEST(ProcessesPosixTest, EveryExitStatusIsTold) {
    for (int status = 0; status <= 255; ++status) {
        EXPECT_EQ(runShell("exit " + std::to_string(status)).status, status);
    }
}

TEST(ProcessesPosixTest, FailedProgramStillGivesItsOutput) {
    const ProcessResult result = runShell("echo some; exit 3");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(asText(result.output), "some\n");
}

TEST(ProcessesPosixTest, StatusOfAKilledProgramIsTheSignal) {
    for (const int signal : {SIGHUP, SIGINT, SIGKILL, SIGTERM, SIGSEGV}) {
        EXPECT_EQ(runShell("ulimit -c 0; kill -" + std::to_string(signal) + " $$").status, signal);
    }
}

TEST(ProcessesPosixTest, ProgramThatClosesItsOutputEarlyIsWaitedFor) {
    const TemporaryDirectory folder;
    EXPECT_EQ(runShell("echo some; exec 1>&-; echo done >\"$1\"; exit 7", {folder / "file"}).status, 7);
    EXPECT_EQ(readFile(folder / "file"), "done\n");
}

// The last words are written only once the program itself has ended.
TEST(ProcessesPosixTest, OutputIsReadUntilNobodyCanWriteAnyMore) {
    EXPECT_EQ(outputOf("program=$$; (while kill -0 $program 2>/dev/null && "
                       "! grep -q '^State:.*Z' /proc/$program/status; do :; done; echo last) & echo first"),
              "first\nlast\n");
}

TEST(ProcessesPosixTest, WhatCannotBeStartedIsALaunchError) {
    const TemporaryDirectory folder;
    std::filesystem::permissions(folder.path(), std::filesystem::perms{0755});
    writeFile(folder / "plain", "text");
    writeFile(folder / "nonsense", "\x7F"
                                   "ELFnot really");
    writeFile(folder / "interpreter", "#!/missing/interpreter\n");
    writeFile(folder / "script", "exit 0\n"); // no program that the system knows, and no shell is asked
    for (const char* name : {"nonsense", "interpreter", "script"}) {
        std::filesystem::permissions(folder / name, std::filesystem::perms{0755});
    }
    expectLaunchError(ProcessErrorCode::noSuchExecutable, folder / "missing");
    expectLaunchError(ProcessErrorCode::noSuchExecutable, folder / "plain/under");
    expectLaunchError(ProcessErrorCode::noSuchExecutable, "");
    expectLaunchError(ProcessErrorCode::noSuchExecutable, folder / "interpreter");
    expectLaunchError(ProcessErrorCode::notExecutable, folder / "plain");
    expectLaunchError(ProcessErrorCode::notExecutable, folder.path());
    expectLaunchError(ProcessErrorCode::cannotLaunch, folder / "nonsense");
    expectLaunchError(ProcessErrorCode::cannotLaunch, folder / "script");
    expectLaunchError(ProcessErrorCode::cannotLaunch, "/" + std::string(300, 'n'));
}

TEST(ProcessesPosixTest, ProgramThatTheUserMayNotRunIsALaunchError) {
    const TemporaryDirectory folder;
    std::filesystem::copy_file("/bin/cat", folder / "cat");
    runInChild([&] {
        std::filesystem::permissions(folder / "cat", std::filesystem::perms{0700});
        std::filesystem::permissions(folder.path(), std::filesystem::perms{0700});
        if (::geteuid() != 0) {
            std::filesystem::permissions(folder.path(), std::filesystem::perms{0600});
        }
        Testing::dropPrivileges();
        expectLaunchError(ProcessErrorCode::notExecutable, folder / "cat");
    });
    std::filesystem::permissions(folder.path(), std::filesystem::perms{0700});
}

TEST(ProcessesPosixTest, ArgumentsBeyondTheSystemsLimitAreALaunchError) {
    expectPlatformError(ProcessErrorCode::cannotLaunch,
                        [] { static_cast<void>(runProgram("/bin/echo", {std::string(10'000'000, 'x')})); });
}

TEST(ProcessesPosixTest, WantOfDescriptorsIsALaunchError) {
    runInChild([] {
        EXPECT_EQ(runProgram("/bin/true", {}).status, 0);
        rlimit usual{};
        ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
        const rlimit low{.rlim_cur = 3, .rlim_max = usual.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
        std::exception_ptr error;
        try {
            static_cast<void>(runProgram("/bin/true", {}));
        } catch (...) {
            error = std::current_exception();
        }
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0); // a sanitizer needs descriptors, too
        ASSERT_NE(error, nullptr);
        expectPlatformError(ProcessErrorCode::cannotLaunch, [&error] { std::rethrow_exception(error); });
    });
}

TEST(ProcessesPosixTest, RunsFromManyThreadsDoNotMix) {
    constexpr int threads = 8;
    constexpr int rounds = 5;
    std::vector<int> wrong(threads, 0);
    std::vector<std::thread> running;
    for (int number = 0; number < threads; ++number) {
        running.emplace_back([&, number] {
            for (int round = 0; round < rounds; ++round) {
                const std::string word = std::to_string(number * rounds + round);
                const ProcessResult result = runShell("echo $1; exit $1", {word});
                const bool right =
                    asText(result.output) == word + "\n" && std::to_string(result.status) == word;
                wrong[static_cast<std::size_t>(number)] += right ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : running) {
        thread.join();
    }
    EXPECT_EQ(wrong, std::vector<int>(threads, 0));
}

TEST(ProcessesPosixTest, OwnIdentifierIsThisProcess) {
    EXPECT_EQ(ProcessesPosix().ownIdentifier(), ::getpid());
    EXPECT_EQ(outputOf("echo $PPID"), std::to_string(ProcessesPosix().ownIdentifier()) + "\n");
}

} // namespace

} // namespace InstallerCore
