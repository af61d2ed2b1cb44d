#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/PlatformError.h"
#include "tests/KavioInstaller/FlowFixture.h"
#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace InstallerCore {

namespace {

using Testing::FlowFixture;
using Testing::Lines;

TEST(LaunchTest, HasItsEnvironmentFromThePlatform) {
    Testing::TestPlatform test;
    test.languages.tags = {"ja-JP", "en"};
    Testing::FlowLog log;
    Testing::RecordingHost host(log);
    const Config config{.bundleID = "test.mykavio.app"};
    const auto environment = AppDelegate::Environment::live(host, config, test.platform);
    EXPECT_EQ(&environment.host, &host);
    EXPECT_EQ(&environment.resources, &test.resources);
    EXPECT_EQ(environment.preferredLanguages, test.languages.tags);
    EXPECT_EQ(environment.directory, "/Applications");
    EXPECT_EQ(environment.core.privateCache(), test.cachePath());
}

TEST(LaunchTest, TakesTheLockThenRecordsThatItOpenedThenChecks) {
    FlowFixture flow;
    flow.launch();
    EXPECT_EQ(flow.takeLog(),
              (Lines{"privateCache", "takeInstanceLock /cache", "record installer_opened", "awake"}));
    EXPECT_EQ(flow.host.works, 1U);
    EXPECT_EQ(flow.state(), FlowState::launching);
}

TEST(LaunchTest, SaysWhyItCannotBeginAndEnds) {
    struct Case {
        const char* operation;
        std::function<void()> failure;
        std::string logged;
        std::string alert;
    };

    const Case cases[] = {
        {"privateCache", [] { throw InstallerError::message("Unsafe cache directory"); },
         "Unsafe cache directory", "Unable to continue. Please retry."},
        {"privateCache", [] { throw PlatformError(FileErrorCode::writeNoPermission); },
         PlatformError(FileErrorCode::writeNoPermission).what(),
         "Unable to write to Applications. Check folder permissions and retry."},
        {"privateCache", [] { throw PlatformError(FileErrorCode::writeOutOfSpace); },
         PlatformError(FileErrorCode::writeOutOfSpace).what(),
         "Not enough disk space. Free up space and retry."},
        {"privateCache", [] { throw std::runtime_error("anything"); }, "anything",
         "Unable to continue. Please retry."},
        {"takeInstanceLock",
         [] { throw InstallerError::message("Another Kavio installer is already running"); },
         "Another Kavio installer is already running", "Unable to continue. Please retry."},
    };
    for (const Case& test : cases) {
        FlowFixture flow;
        flow.core.on[test.operation] = test.failure;
        flow.launch();
        const Lines log = flow.takeLog();
        ASSERT_GE(log.size(), 3U);
        EXPECT_EQ(Lines(log.end() - 3, log.end()), (Lines{"log Installer startup failed: " + test.logged,
                                                          "alert " + test.alert, "terminate"}));
        EXPECT_FALSE(flow.host.window);
        EXPECT_TRUE(flow.core.events.empty());
        EXPECT_EQ(flow.host.works, 0U);
        EXPECT_TRUE(flow.host.isQueueEmpty());
    }
}

TEST(LaunchTest, SpeaksTheUsersLanguageInTheAlert) {
    FlowFixture flow;
    flow.words = Testing::wordsOf(
        {{"de-DE", {{"desktop_installer_generic_error", "Bitte erneut versuchen."}}}}, {"de"});
    flow.core.fail("takeInstanceLock", "Another Kavio installer is already running");
    flow.launch();
    EXPECT_EQ(Testing::only(flow.takeLog(), "alert"), (Lines{"alert Bitte erneut versuchen."}));
}

TEST(LaunchTest, MayBeQuitWhileTheAlertIsUp) {
    FlowFixture flow;
    flow.core.fail("takeInstanceLock", "Another Kavio installer is already running");
    flow.host.onAlert = [&] { EXPECT_TRUE(flow.close()); };
    flow.launch();
    EXPECT_GE(flow.host.terminations, 1);
}

} // namespace

} // namespace InstallerCore
