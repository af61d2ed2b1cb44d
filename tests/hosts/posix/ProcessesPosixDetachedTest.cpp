#include "hosts/posix/ProcessesPosix.h"
#include "tests/hosts/posix/Fifo.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <sstream>

namespace InstallerCore {

namespace {

using Testing::Fifo;

void startShell(const std::string& script, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-c", script, "shell"});
    ProcessesPosix().startDetached("/bin/sh", arguments);
}

TEST(ProcessesPosixDetachedTest, RunsInTheRootDirectory) {
    const Fifo answers;
    startShell("readlink /proc/$$/cwd >\"$1\"; :", {answers.path()});
    EXPECT_EQ(answers.line(), "/");
}

TEST(ProcessesPosixDetachedTest, StreamsAreTheNullDevice) {
    const Fifo answers;
    startShell("for i in 0 1 2; do link=$(readlink /proc/$$/fd/$i); echo $link >\"$1\"; done",
               {answers.path()});
    for (int stream = 0; stream < 3; ++stream) {
        EXPECT_EQ(answers.line(), "/dev/null") << stream;
    }
}

TEST(ProcessesPosixDetachedTest, StreamsCanBeUsed) {
    const Fifo answers;
    startShell("echo lost && echo lost >&2 && ! read line && echo fine >\"$1\"", {answers.path()});
    EXPECT_EQ(answers.line(), "fine");
}

TEST(ProcessesPosixDetachedTest, NothingElseIsInherited) {
    const Fifo answers;
    Testing::runInChild([&] {
        ASSERT_GE(::dup2(STDERR_FILENO, 3), 0);
        ASSERT_GE(::dup2(STDERR_FILENO, 100), 0);
        startShell("exec /bin/ls -C -w 0 /proc/self/fd >\"$1\"", {answers.path()});
    });
    EXPECT_EQ(answers.line(), "0  1  2  3") << "the last one is the listing's own";
}

TEST(ProcessesPosixDetachedTest, SessionIsItsOwnWithoutATerminal) {
    const Fifo answers;
    // Behind the name: state, parent, process group, session, terminal.
    startShell("read -r all </proc/$$/stat; set -- \"$1\" ${all##*)}; echo $$ $4 $5 $6 >\"$1\"",
               {answers.path()});
    std::istringstream numbers(answers.line());
    int process = 0;
    int group = 0;
    int session = 0;
    int terminal = -1;
    numbers >> process >> group >> session >> terminal;
    EXPECT_GT(process, 0);
    EXPECT_EQ(group, process);
    EXPECT_EQ(session, process);
    EXPECT_EQ(terminal, 0);
    EXPECT_NE(session, ::getsid(0));
}

TEST(ProcessesPosixDetachedTest, GoesOnAfterItsStarterWasKilled) {
    const Fifo orders;
    const Fifo answers;
    Testing::WaitingChild starter([&] {
        startShell("echo started >\"$2\"; read line <\"$1\"; echo \"$line\" >\"$2\"",
                   {orders.path(), answers.path()});
        return true;
    });
    EXPECT_TRUE(starter.result());
    EXPECT_EQ(answers.line(), "started");
    starter.kill();
    orders.send("still here");
    EXPECT_EQ(answers.line(), "still here");
}

// As a shell or a terminal does it to the processes that it started.
TEST(ProcessesPosixDetachedTest, GoesOnWhenTheGroupOfItsStarterIsKilled) {
    const Fifo orders;
    const Fifo answers;
    const pid_t starter = ::fork();
    if (starter == 0) {
        ::setpgid(0, 0);
        startShell("echo started >\"$2\"; read line <\"$1\"; echo \"$line\" >\"$2\"",
                   {orders.path(), answers.path()});
        ::pause();
        ::_exit(1);
    }
    EXPECT_EQ(answers.line(), "started"); // the group was made before
    EXPECT_EQ(::kill(-starter, SIGKILL), 0);
    EXPECT_EQ(Testing::waitFor(starter), -SIGKILL);
    orders.send("still here");
    EXPECT_EQ(answers.line(), "still here");
}

TEST(ProcessesPosixDetachedTest, StartReturnsWhileItRuns) {
    const Fifo orders;
    const Fifo answers;
    startShell("read line <\"$1\"; echo \"$line\" >\"$2\"", {orders.path(), answers.path()});
    orders.send("after the start");
    EXPECT_EQ(answers.line(), "after the start");
}

} // namespace

} // namespace InstallerCore
