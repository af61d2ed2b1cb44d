#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/PlatformError.h"
#include "tests/InstallerCore/install/InterruptedInstallation.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

using Testing::InstallScene;
using Testing::NextStart;
using Testing::Scenario;

using Counts = std::map<NextStart, int>;

bool canFail(const std::string& effect) {
    for (const char* other : {"Folder.exists", "Folders.exists", "Folders.isWritable", "running?", "validity",
                              "spctl", "ditto", "hdiutil"}) {
        if (effect.starts_with(other)) {
            return false;
        }
    }
    return true;
}

bool changes(const std::string& effect) {
    for (const char* writing : {"Directory.replace", "Directory.createIfMissing", "Directory.remove",
                                "FileHandle.write", "Folder.createFolder", "Folder.move", "Folder.removeTree",
                                "Files.createDirectory", "Files.makePrivate"}) {
        if (effect.starts_with(writing)) {
            return true;
        }
    }
    return false;
}

// What ENOSPC, EIO, EACCES, EROFS and an EINTR that is not tried again become, as far as a call can give
// them.
std::vector<FileErrorCode> errorsOf(const std::string& effect) {
    if (changes(effect)) {
        return {FileErrorCode::writeOutOfSpace, FileErrorCode::writeUnknown, FileErrorCode::writeNoPermission,
                FileErrorCode::writeVolumeReadOnly};
    }
    return {FileErrorCode::readUnknown, FileErrorCode::readNoPermission};
}

// The error is the one that was to be met, or what the installer says instead of it.
void runWithFault(const Scenario& scenario, InstallScene& scene, FileErrorCode code) {
    try {
        scenario.run(scene);
    } catch (const PlatformError& error) {
        EXPECT_TRUE(error.is(code)) << error.what();
    } catch (const InstallerError& error) {
        EXPECT_EQ(error.errorDescription(), "Cannot inspect application size");
    }
}

Counts failEachCall(const Scenario& scenario) {
    const auto whole = arranged(scenario);
    scenario.run(*whole);
    Counts counts;
    int call = 0;
    for (const std::string& effect : whole->effects) {
        if (!canFail(effect)) {
            continue;
        }
        ++call;
        for (const FileErrorCode code : errorsOf(effect)) {
            SCOPED_TRACE(std::string(scenario.name) + ", call " + std::to_string(call) + ", " + effect +
                         ", code " + std::to_string(static_cast<int>(code)));
            const auto scene = arranged(scenario);
            scene->test.files.failAtAny(call, code);
            runWithFault(scenario, *scene, code);
            expectNothingLost(*scene, scenario);
            EXPECT_FALSE(scene->isAttached());
            ++counts[expectNextStart(*scene)];
        }
    }
    return counts;
}

// Stops the process for good, as a kill would, before that call.
void stopBefore(const Scenario& scenario, InstallScene& scene, int call) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int count = 0;
        scene.before = [&count, call](const std::string&) {
            if (++count == call) {
                ::_exit(0);
            }
        };
        try {
            scenario.run(scene);
        } catch (const std::exception&) {
            ::_exit(2);
        }
        ::_exit(1); // it was never met
    }
    EXPECT_EQ(Testing::waitFor(child), 0);
}

Counts stopBeforeEachCall(const Scenario& scenario) {
    Counts counts;
    const int calls = callsOf(scenario);
    for (int call = 1; call <= calls; ++call) {
        SCOPED_TRACE(std::string(scenario.name) + ", call " + std::to_string(call));
        const auto scene = arranged(scenario);
        stopBefore(scenario, *scene, call);
        expectNothingLost(*scene, scenario);
        ++counts[expectNextStart(*scene)];
    }
    return counts;
}

const Scenario& scenarioNamed(const std::string& name) {
    for (const Scenario& scenario : Testing::allScenarios()) {
        if (scenario.name == name) {
            return scenario;
        }
    }
    throw std::runtime_error(name);
}

struct Row {
    const char* scenario;
    int missingJournal; // points after which no start can settle what is left
    int otherVersion;
};

void expectRow(const Row& row, Counts counts) {
    EXPECT_GT(counts[NextStart::complete], 5) << row.scenario;
    EXPECT_EQ(counts[NextStart::missingJournal], row.missingJournal) << row.scenario;
    EXPECT_EQ(counts[NextStart::otherVersion], row.otherVersion) << row.scenario;
}

// The journal is missing when opening the new staging directory fails (two errors) and when its first record
// does (four). Another version is met when the restored backup stands beside a record that promised the new
// one and could not be removed: the listing (two errors), the refused application and the rename (four each).
constexpr Row faultRows[] = {
    {"first installation", 6, 0},           {"upgrade", 6, 0},
    {"upgrade that is rolled back", 6, 10}, {"recovery of a moved application", 0, 6},
    {"recovery of a copy", 0, 0},           {"recovery after the first installation", 0, 0},
};

// Stopped before the staging directory is opened or its first record written; before the target is looked at
// or moved aside; and between the return of the backup and the removal.
constexpr Row stopRows[] = {
    {"first installation", 2, 0},          {"upgrade", 2, 2},
    {"upgrade that is rolled back", 2, 5}, {"recovery of a moved application", 0, 2},
    {"recovery of a copy", 0, 0},          {"recovery after the first installation", 0, 0},
};

class InstallFaultTest : public testing::TestWithParam<Row> {};

class InstallStopTest : public testing::TestWithParam<Row> {};

TEST_P(InstallFaultTest, EachErrorOfEachCallIsSurvived) {
    expectRow(GetParam(), failEachCall(scenarioNamed(GetParam().scenario)));
}

TEST_P(InstallStopTest, EachStopBeforeACallIsSurvived) {
    expectRow(GetParam(), stopBeforeEachCall(scenarioNamed(GetParam().scenario)));
}

std::string testName(const testing::TestParamInfo<Row>& info) {
    std::string name = info.param.scenario;
    std::erase(name, ' ');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Scenarios, InstallFaultTest, testing::ValuesIn(faultRows), testName);
INSTANTIATE_TEST_SUITE_P(Scenarios, InstallStopTest, testing::ValuesIn(stopRows), testName);

} // namespace

} // namespace InstallerCore
