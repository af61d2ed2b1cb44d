#include "KavioInstaller/InstallationRun.h"

#include "tests/KavioInstaller/FakeCore.h"
#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;
using Testing::FakeCore;
using Testing::FlowLog;
using Testing::Lines;
using Report = FakeCore::Report;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// A run on the caller's own thread.
class InstallationRunTest : public testing::Test {
protected:
    InstallationRun::Result run() {
        const CoreOperations operations = core.operations();
        InstallationRun run(
            config, operations, flag, "/Applications",
            {.downloading = [this](std::int64_t received,
                                   std::int64_t total) { reported.emplace_back(received, total); },
             .willInstall = [this] { log.add("willInstall"); },
             .installing = [](InstallerMessage) {}});
        return run.run();
    }

    Config config{.channelURL = "https://mykavio.test/latest-mac.yml"};
    FlowLog log;
    FakeCore core{log};
    CoreOperations::CancelFlag flag = std::make_shared<Cancellation>();
    std::vector<std::pair<std::int64_t, std::int64_t>> reported;
};

TEST_F(InstallationRunTest, SaysWhetherTheApplicationWasThereAlready) {
    EXPECT_FALSE(run().wasCurrent);
    core.current = "/Applications/Kavio.app";
    EXPECT_TRUE(run().wasCurrent);
    EXPECT_EQ(run().application, "/Applications/Kavio.app");
}

TEST_F(InstallationRunTest, ReportsProgressAtMostEveryFifthOfASecondAndAtTheEnd) {
    struct Case {
        const char* name;
        std::vector<Report> reports;
        std::vector<std::pair<std::int64_t, std::int64_t>> shown;
    };

    const Case cases[] = {
        {"the first at once", {{0, 1, 9}}, {{1, 9}}},
        {"0.2 s later", {{0, 1, 9}, {0.2, 2, 9}}, {{1, 9}, {2, 9}}},
        {"a little sooner", {{0, 1, 9}, {0.19999, 2, 9}}, {{1, 9}}},
        {"since the last that was shown",
         {{0, 1, 9}, {0.1, 2, 9}, {0.2, 3, 9}, {0.3, 4, 9}, {0.41, 5, 9}},
         {{1, 9}, {3, 9}, {5, 9}}},
        {"the last always", {{0, 1, 9}, {0.00001, 9, 9}}, {{1, 9}, {9, 9}}},
        {"more than everything", {{0, 1, 9}, {0, 10, 9}}, {{1, 9}, {10, 9}}},
        {"the last counts for the interval", {{0, 9, 9}, {0.1, 1, 9}, {0.2, 2, 9}}, {{9, 9}, {2, 9}}},
        {"a time that is no number", {{0, 1, 9}, {notANumber, 2, 9}}, {{1, 9}, {2, 9}}},
        {"a difference to one", {{notANumber, 1, 9}, {0, 2, 9}, {0.1, 3, 9}}, {{1, 9}, {2, 9}}},
        {"nothing of nothing", {{0, 0, 0}, {0, 0, 0}}, {{0, 0}, {0, 0}}},
        {"a clock that went back", {{5, 1, 9}, {1, 2, 9}}, {{1, 9}}},
    };
    for (const Case& test : cases) {
        core.reports = test.reports;
        reported.clear();
        static_cast<void>(run());
        EXPECT_EQ(reported, test.shown) << test.name;
    }
}

TEST_F(InstallationRunTest, TakesNoSystemBelowTheReleasesMinimum) {
    struct Case {
        SystemVersion system;
        const char* minimum;
        bool isEnough;
    };

    constexpr Case cases[] = {
        {{13, 0, 0}, "13.0.0", true},  {{13, 0, 1}, "13.0.0", true},   {{12, 9, 9}, "13.0.0", false},
        {{13, 0, 0}, "13.0.1", false}, {{13, 10, 0}, "13.9.0", true},  {{13, 9, 0}, "13.10.0", false},
        {{14, 2, 3}, "14.2.3", true},  {{14, 2, 3}, "14.2.10", false},
    };
    for (const Case& test : cases) {
        core.system = test.system;
        core.artifact.minOSVersion = test.minimum;
        core.events.clear();
        static_cast<void>(log.take());
        if (test.isEnough) {
            EXPECT_NO_THROW(static_cast<void>(run()));
        } else {
            expectInstallerError("This macOS version is not supported", [&] { static_cast<void>(run()); });
            EXPECT_EQ(core.events, (Lines{"manifest_resolved 2.0.0", "installer_failed"}));
            EXPECT_EQ(Testing::Lines(log.lines().end() - 2, log.lines().end()),
                      (Lines{"systemVersion", "record installer_failed"})); // nothing was fetched or removed
        }
    }
}

TEST_F(InstallationRunTest, PassesOnThatAMinimumIsNoVersion) {
    core.artifact.minOSVersion = "13.0";
    expectInstallerError("Invalid version", [&] { static_cast<void>(run()); });
}

TEST_F(InstallationRunTest, LooksWhetherApplicationsIsWritableBeforeItAsksForSpace) {
    core.isWritable = false;
    expectInstallerError("Applications is not writable. Check folder permissions or use the full DMG",
                         [&] { static_cast<void>(run()); });
    EXPECT_EQ(Lines(log.lines().end() - 2, log.lines().end()),
              (Lines{"isWritable /Applications", "record installer_failed"}));
}

TEST_F(InstallationRunTest, TakesAnotherArchitectureForNone) {
    core.artifact.arch = "x64";
    expectInstallerError("This Mac is not supported by this release", [&] { static_cast<void>(run()); });
    EXPECT_EQ(core.events, (Lines{"installer_failed"}));
}

TEST_F(InstallationRunTest, AsksForRoomAsFarAsTheNumbersGo) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    core.artifact.sizeBytes = most - 134'217'728;
    core.artifact.installedSizeBytes = (most - 536'870'912) / 2;
    static_cast<void>(run());
    EXPECT_EQ(
        Testing::only(log.lines(), "checkSpace"),
        (Lines{"checkSpace /cache 9223372036854775807", "checkSpace /Applications 9223372036854775806"}));
}

TEST_F(InstallationRunTest, ReportsNoErrorButStopsTheProgramWhenASizeOverflows) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    const auto runWith = [&](std::int64_t size, std::int64_t installed) {
        core.artifact.sizeBytes = size;
        core.artifact.installedSizeBytes = installed;
        static_cast<void>(run());
    };
    EXPECT_EXIT(runWith(most - 134'217'727, 0), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(runWith(0, most / 2 + 1), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(runWith(0, (most - 536'870'912) / 2 + 1), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(InstallationRunTest, DoesNotGoOnToInstallWhenTheDownloadWasCancelledAtItsVeryEnd) {
    core.on["the end of the download"] = [this] { flag->cancel(); };
    expectInstallerError("Download paused. Open the installer again to resume.",
                         [&] { static_cast<void>(run()); });
    EXPECT_EQ(core.events, (Lines{"manifest_resolved 2.0.0", "payload_started 2.0.0", "cancelled"}));
}

} // namespace

} // namespace InstallerCore
