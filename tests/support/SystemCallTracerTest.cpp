#include "tests/support/SystemCallTracer.h"

#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

namespace InstallerCore::Testing {

namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Effect = SystemCall::Effect;
namespace fs = std::filesystem;

class SystemCallTracerTest : public testing::Test {
protected:
    void SetUp() override {
        if (!canTrace()) {
            GTEST_SKIP() << "no process may be traced here";
        }
    }

    // A shell in the directory; asked for the calls on what is in there, and for the ends.
    TracedEnd shell(const std::string& script, const CallWatcher& watcher,
                    TracedEffects effects = TracedEffects::changes) {
        const std::string inside = directory.path().string() + "/";
        return traceProgram(
            {"/bin/sh", "-c", "cd '" + inside + "' && " + script}, effects, [&](const SystemCall& call) {
                const bool isInside =
                    std::any_of(call.paths.begin(), call.paths.end(),
                                [&](const auto& path) { return path.string().starts_with(inside); });
                return isInside || call.effect == Effect::end ? watcher(call) : CallAnswer::proceed();
            });
    }

    // The calls on what is in the directory, without the ends, as "program: paths".
    std::vector<std::string> calls(const std::string& script,
                                   TracedEffects effects = TracedEffects::changes) {
        std::vector<std::string> result;
        shell(
            script,
            [&](const SystemCall& call) {
                std::string text = call.program + ":";
                for (const auto& path : call.paths) {
                    text += " " + path.lexically_relative(directory.path()).string();
                }
                if (call.effect != Effect::end) {
                    result.push_back(text);
                }
                return CallAnswer::proceed();
            },
            effects);
        return result;
    }

    // Answers once, before a change of the entry.
    [[nodiscard]] CallWatcher before(const std::string& name, CallAnswer answer) const {
        return [this, name, answer](const SystemCall& call) {
            const bool matches = call.effect == Effect::change && !call.paths.empty() &&
                                 call.paths.front() == directory / name;
            return matches ? answer : CallAnswer::proceed();
        };
    }

    [[nodiscard]] bool exists(const std::string& name) const { return fs::exists(directory / name); }

    TemporaryDirectory directory;
};

TEST_F(SystemCallTracerTest, ReportsEachChangeWithItsProgramAndAbsolutePaths) {
    EXPECT_THAT(calls("/bin/mkdir a && /bin/mv a b && /bin/ln -s x b/y && /bin/rm b/y && /bin/rmdir b"),
                ElementsAre("mkdir: a", "mv: a b", "ln: b/y", "rm: b/y", "rmdir: b"));
}

TEST_F(SystemCallTracerTest, ResolvesAPathBelowAnOpenDirectory) {
    fs::create_directories(directory / "tree/inner");
    writeFile(directory / "tree/inner/file", "x");
    EXPECT_THAT(calls("/bin/rm -r tree"), ElementsAre("rm: tree/inner/file", "rm: tree/inner", "rm: tree"));
}

TEST_F(SystemCallTracerTest, ResolvesADescriptor) {
    std::vector<std::string> names;
    shell("echo text > file", [&](const SystemCall& call) {
        if (call.effect == Effect::change) {
            EXPECT_THAT(call.paths, ElementsAre(directory / "file"));
            names.push_back(call.name);
        }
        return CallAnswer::proceed();
    });
    EXPECT_THAT(names, Contains("write"));
    EXPECT_EQ(names.size(), 2U) << "made, and written";
}

TEST_F(SystemCallTracerTest, TellsLooksFromChanges) {
    writeFile(directory / "file", "content");
    EXPECT_THAT(calls("/bin/cat file"), IsEmpty());
    EXPECT_THAT(calls("/bin/cat file", TracedEffects::changesAndLooks), Contains("cat: file"));
}

TEST_F(SystemCallTracerTest, LeavesOutPipesAndStandardStreams) {
    const TracedEnd end = traceProgram({"/bin/sh", "-c", "echo out | /bin/cat; echo err >&2"},
                                       TracedEffects::changes, [](const SystemCall& call) {
                                           EXPECT_THAT(call.name, StartsWith("exit_group"));
                                           return CallAnswer::proceed();
                                       });
    EXPECT_EQ(end.output, "out\n");
    EXPECT_EQ(end.errors, "err\n");
}

TEST_F(SystemCallTracerTest, ReportsTheEndOfEachProcess) {
    std::vector<std::string> ends;
    const TracedEnd end = shell("(exit 3); exit 5", [&](const SystemCall& call) {
        ends.push_back(call.name + (call.byFirst ? " of the first" : " of another"));
        return CallAnswer::proceed();
    });
    EXPECT_THAT(ends, ElementsAre("exit_group of another", "exit_group of the first"));
    EXPECT_EQ(end.status, 5);
}

TEST_F(SystemCallTracerTest, KillsTheCallerBeforeItsCall) {
    const TracedEnd end =
        shell("/bin/mkdir a; /bin/mkdir b; /bin/mkdir c", before("b", CallAnswer::kill(Victims::caller)));
    EXPECT_TRUE(exists("a"));
    EXPECT_FALSE(exists("b"));
    EXPECT_TRUE(exists("c"));
    EXPECT_EQ(end.status, 0);
}

TEST_F(SystemCallTracerTest, KillsTheFirstAloneAndItsChildGoesOn) {
    const TracedEnd end = shell("/bin/sh -c '/bin/mkdir a; /bin/mkdir b; /bin/mkdir c'; /bin/mkdir d",
                                before("b", CallAnswer::kill(Victims::first)));
    EXPECT_EQ(end.status, -SIGKILL);
    EXPECT_TRUE(exists("b"));
    EXPECT_TRUE(exists("c"));
    EXPECT_FALSE(exists("d"));
}

TEST_F(SystemCallTracerTest, TheFirstIsDeadWhenItsChildGoesOn) {
    shell("/bin/sh -c '/bin/mkdir a; kill -0 $PPID 2>&1; echo $? > status; true'; true",
          before("a", CallAnswer::kill(Victims::first)));
    EXPECT_TRUE(exists("a"));
    EXPECT_EQ(readFile(directory / "status"), "1\n");
}

TEST_F(SystemCallTracerTest, KillsTheOthersAndTheFirstGoesOn) {
    const TracedEnd end = shell("/bin/sh -c '/bin/mkdir a; /bin/mkdir b'; echo $? > status; /bin/mkdir c",
                                before("a", CallAnswer::kill(Victims::others)));
    EXPECT_EQ(end.status, 0);
    EXPECT_FALSE(exists("a"));
    EXPECT_FALSE(exists("b"));
    EXPECT_EQ(readFile(directory / "status"), "137\n");
    EXPECT_TRUE(exists("c"));
}

TEST_F(SystemCallTracerTest, KillsAll) {
    const TracedEnd end = shell("/bin/sh -c '/bin/mkdir a; /bin/mkdir b'; /bin/mkdir c",
                                before("a", CallAnswer::kill(Victims::all)));
    EXPECT_EQ(end.status, -SIGKILL);
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(SystemCallTracerTest, KillsBeforeTheEnd) {
    const TracedEnd end = shell("/bin/mkdir a", [](const SystemCall& call) {
        const bool isLast = call.byFirst && call.effect == Effect::end;
        return isLast ? CallAnswer::kill(Victims::first) : CallAnswer::proceed();
    });
    EXPECT_EQ(end.status, -SIGKILL);
    EXPECT_TRUE(exists("a"));
}

TEST_F(SystemCallTracerTest, ACallFailsAsItIsTold) {
    const TracedEnd end = shell("LC_ALL=C /bin/mkdir a; /bin/mkdir b", before("a", CallAnswer::fail(ENOSPC)));
    EXPECT_FALSE(exists("a"));
    EXPECT_TRUE(exists("b"));
    EXPECT_THAT(end.errors, EndsWith("No space left on device\n"));
}

TEST_F(SystemCallTracerTest, ALookFailsAsItIsTold) {
    writeFile(directory / "file", "content");
    const TracedEnd end = shell(
        "LC_ALL=C /bin/cat file",
        [](const SystemCall& call) {
            return call.name == "read" ? CallAnswer::fail(EIO) : CallAnswer::proceed();
        },
        TracedEffects::changesAndLooks);
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(end.output, Not(HasSubstr("content")));
    EXPECT_THAT(end.errors, HasSubstr("Input/output error"));
}

TEST_F(SystemCallTracerTest, FollowsTheThreadsOfAProcess) {
    const std::string program =
        "import os, threading\n"
        "threads = [threading.Thread(target=os.mkdir, args=(name,)) for name in 'abc']\n"
        "[thread.start() for thread in threads]\n"
        "[thread.join() for thread in threads]\n";
    writeFile(directory / "program.py", program);
    std::vector<pid_t> processes;
    shell("exec python3 -B program.py", [&](const SystemCall& call) {
        if (call.effect == Effect::change) {
            processes.push_back(call.process);
        }
        return CallAnswer::proceed();
    });
    ASSERT_EQ(processes.size(), 3U);
    EXPECT_THAT(processes, Each(processes.front()));
    EXPECT_TRUE(exists("a") && exists("b") && exists("c"));
}

TEST_F(SystemCallTracerTest, AProgramThatCannotBeStartedSaysSo) {
    const TracedEnd end = traceProgram({(directory / "missing").string()}, TracedEffects::changes,
                                       [](const SystemCall&) { return CallAnswer::proceed(); });
    EXPECT_EQ(end.status, 127);
}

} // namespace

} // namespace InstallerCore::Testing
