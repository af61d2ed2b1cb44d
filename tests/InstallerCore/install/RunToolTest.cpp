#include "InstallerCore/install/RunTool.h"

#include "hosts/posix/ProcessesPosix.h"
#include "tests/support/Expect.h"
#include "tests/support/TestPlatform.h"

#include <gmock/gmock.h>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::FakeProcesses;

class RunToolTest : public testing::Test {
protected:
    void answer(const std::string& tool, int status, const std::string& output = {}) {
        test_.processes.tools[tool] = [status, output](const FakeProcesses::Arguments&) {
            return ProcessResult{.status = status, .output = toBytes(output)};
        };
    }

    void expectFailure(const std::string& tool, const std::string& text) const {
        expectInstallerError(text, [&] { run(tool, {}, test_.platform); });
    }

    Testing::TestPlatform test_;
};

TEST_F(RunToolTest, OutputIsTheResult) {
    answer("/usr/bin/ditto", 0, "some\noutput\n");
    EXPECT_EQ(asText(run("/usr/bin/ditto", {"a", ""}, test_.platform)), "some\noutput\n");
    const FakeProcesses::Call call{.executable = "/usr/bin/ditto",
                                   .arguments = {"a", ""},
                                   .errors = Processes::ErrorOutput::inherited,
                                   .detached = false};
    EXPECT_EQ(test_.processes.calls, std::vector{call});
}

TEST_F(RunToolTest, FailureNamesTheToolAndItsStatus) {
    for (const int status : {1, 2, 3, 9, 64, 127, 128, 255}) {
        answer("/usr/sbin/spctl", status, "dropped");
        expectFailure("/usr/sbin/spctl",
                      "System verification or installation failed (spctl: " + std::to_string(status) + ")");
    }
}

TEST_F(RunToolTest, NameIsTheLastPathComponent) {
    answer("/root dir/usr/bin/hdi util", 1);
    expectFailure("/root dir/usr/bin/hdi util", "System verification or installation failed (hdi util: 1)");
    answer("tool", 1);
    expectFailure("tool", "System verification or installation failed (tool: 1)");
}

TEST_F(RunToolTest, ErrorOfTheLaunchIsPassedThrough) {
    expectPlatformError(ProcessErrorCode::noSuchExecutable,
                        [this] { run("/usr/bin/missing", {}, test_.platform); });
    test_.processes.tools["/tool"] = [](const FakeProcesses::Arguments&) -> ProcessResult {
        throw PlatformError(FileErrorCode::readUnknown);
    };
    expectPlatformError(FileErrorCode::readUnknown, [this] { run("/tool", {}, test_.platform); });
}

TEST_F(RunToolTest, NothingIsLogged) {
    answer("/tool", 1);
    expectFailure("/tool", "System verification or installation failed (tool: 1)");
    EXPECT_THAT(test_.log.lines(), testing::IsEmpty());
}

class RunToolForRealTest : public testing::Test {
protected:
    Bytes runShell(const std::string& script) { return run("/bin/sh", {"-c", script}, platform_); }

private:
    Testing::TestPlatform test_;
    ProcessesPosix processes_;
    Platform platform_{test_.http,          test_.files,       test_.digests,   test_.clock,
                       test_.system,        test_.log,         test_.folders,   processes_,
                       test_.propertyLists, test_.codeSigning, test_.workspace, test_.languages,
                       test_.resources};
};

TEST_F(RunToolForRealTest, MoreThanAPipeHoldsComesBack) {
    const Bytes output =
        runShell("i=0; while [ $i -lt 40000 ]; do echo 'a line of text'; i=$((i + 1)); done");
    EXPECT_EQ(output.size(), 40'000U * 15U);
}

TEST_F(RunToolForRealTest, FailureAfterOutputIsAFailure) {
    expectInstallerError("System verification or installation failed (sh: 1)",
                         [this] { runShell("echo some output; exit 1"); });
}

TEST_F(RunToolForRealTest, DeathByASignalIsAFailureWithItsNumber) {
    expectInstallerError("System verification or installation failed (sh: 9)",
                         [this] { runShell("echo some output; kill -9 $$"); });
}

} // namespace

} // namespace InstallerCore
