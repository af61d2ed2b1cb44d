#include "tests/KavioInstaller/FlowFixture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace InstallerCore {

namespace {

using Testing::FlowFixture;
using Testing::Lines;

// In steps, as a user would see it.
void scriptDownloadAndInstallation(FlowFixture& flow) {
    flow.core.reports = {{.seconds = 1, .received = 250, .total = 1000},
                         {.seconds = 1.1, .received = 300, .total = 1000},
                         {.seconds = 1.1, .received = 1000, .total = 1000}};
    flow.core.messages = {InstallerMessage::verifying, InstallerMessage::installing};
}

const Lines upToTheApplication = {"bg privateCache",
                                  "bg begin /cache https://mykavio.test/latest-mac.yml",
                                  "bg manifest",
                                  "bg readUpdateFeed feed",
                                  "bg nativeArch",
                                  "bg record manifest_resolved 2.0.0",
                                  "bg systemVersion",
                                  "bg cleanExpiredDownloads /cache",
                                  "bg existing /Applications 2.0.0"};

const Lines fromDownloadToOpening = {
    "bg isWritable /Applications",
    "bg checkSpace /cache 134218728",
    "bg checkSpace /Applications 536876912",
    "bg recover /Applications unconfirmed",
    "bg record payload_started 2.0.0",
    "bg download https://mykavio.test/Kavio-2.0.0-arm64.dmg /cache/5ca1ab1e.dmg",
    "status = Downloading Kavio…",
    "percentage = 25.0%",
    "bar = 25",
    "percentage = 100.0%",
    "bar = 100",
    "bg record payload_verified 2.0.0",
    "percentage = ",
    "bar = pulsing",
    "bg record install_started 2.0.0",
    "bg install /cache/5ca1ab1e.dmg 2.0.0 /Applications",
    "status = Verifying application…",
    "status = Installing Kavio…",
    "bg record install_succeeded 2.0.0",
    "bg removeInstalledPackage /cache/5ca1ab1e.dmg",
    "bg record payload_cache_removed",
    "bg complete /cache",
    "may sleep",
    "open /Applications/Kavio.app",
    "status = Opening Kavio…",
    "bar = 100",
    "button = Retry, hidden"};

TEST(FlowRunTest, GoesFromTheFeedToTheOpenedApplicationInThisOrder) {
    FlowFixture flow;
    scriptDownloadAndInstallation(flow);
    flow.launchIntoRun();
    flow.settle();
    Lines expected = upToTheApplication;
    expected.insert(expected.end(), fromDownloadToOpening.begin(), fromDownloadToOpening.end());
    EXPECT_EQ(flow.takeLog(), expected);
    EXPECT_EQ(flow.state(), FlowState::opening);

    flow.completeOpen(Testing::runs);
    EXPECT_EQ(flow.takeLog(), (Lines{"record app_opened", "orderOut",
                                     "scheduleEjection /Volumes/Kavio/Kavio Installer.app", "terminate"}));
}

TEST(FlowRunTest, RecordsEachMilestoneWithItsVersion) {
    FlowFixture flow;
    flow.launch();
    flow.settle();
    flow.completeOpen(Testing::runs);
    EXPECT_EQ(flow.core.events, (Lines{"installer_opened", "manifest_resolved 2.0.0", "payload_started 2.0.0",
                                       "payload_verified 2.0.0", "install_started 2.0.0",
                                       "install_succeeded 2.0.0", "payload_cache_removed", "app_opened"}));
}

TEST(FlowRunTest, RecordsAnImageThatCannotBeRemovedYetAndGoesOn) {
    FlowFixture flow;
    flow.core.isRemoved = false;
    flow.launchIntoRun();
    flow.settle();
    flow.completeOpen(Testing::runs);
    EXPECT_EQ(Lines(flow.core.events.end() - 2, flow.core.events.end()),
              (Lines{"payload_cache_cleanup_deferred", "app_opened"}));
    EXPECT_EQ(flow.host.terminations, 1);
}

TEST(FlowRunTest, OnlyCleansUpAndOpensWhenTheReleaseIsInstalled) {
    for (const bool isRemoved : {true, false}) {
        FlowFixture flow;
        flow.core.current = "/Applications/Kavio.app";
        flow.core.isRemoved = isRemoved;
        flow.launchIntoRun();
        flow.settle();
        Lines expected = upToTheApplication;
        for (const char* const line : {"bg removeInstalledPackage /cache/5ca1ab1e.dmg", "bg complete /cache",
                                       "may sleep", "open /Applications/Kavio.app", "status = Opening Kavio…",
                                       "bar = 100", "button = Retry, hidden"}) {
            expected.emplace_back(line);
        }
        EXPECT_EQ(flow.takeLog(), expected);
        flow.completeOpen(Testing::runs);
        // Neither the image in the cache nor the application that was there is an event.
        EXPECT_EQ(flow.core.events, (Lines{"installer_opened", "manifest_resolved 2.0.0", "app_opened"}));
    }
}

TEST(FlowRunTest, ReachesTheInstallationOnTheMainThreadBeforeItRecordsIt) {
    FlowFixture flow;
    flow.launchIntoRun();
    flow.stopBefore("record payload_verified");
    flow.host.resume();
    EXPECT_EQ(flow.host.nextInBackground(), ""); // it waits for the main thread
    EXPECT_EQ(flow.state(), FlowState::downloading);
    EXPECT_TRUE(flow.host.pump());
    EXPECT_EQ(flow.state(), FlowState::installing);
    flow.stopBefore("record install_started");
}

TEST(FlowRunTest, ShowsHowMuchHasComeOnABarThatStandsStill) {
    struct Case {
        std::int64_t received;
        std::int64_t total;
        double value;
        const char* percentage;
    };

    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr Case cases[] = {
        {0, 8, 0, "0.0%"},       {1, 8, 12.5, "12.5%"},    {8, 8, 100, "100.0%"},
        {9, 8, 112.5, "112.5%"}, {1, 0, infinity, "inf%"}, {3'000'000'000, 6'000'000'000, 50, "50.0%"},
    };
    for (const auto& [received, total, value, percentage] : cases) {
        FlowFixture flow;
        flow.core.reports = {{.seconds = 1, .received = received, .total = total}};
        flow.launchIntoRun();
        flow.stopBefore("the end of the download");
        EXPECT_EQ(flow.status(), "Downloading Kavio…");
        EXPECT_EQ(flow.host.window->bar, (DownloadProgressView{.doubleValue = value}));
        EXPECT_EQ(flow.host.window->percentage.text, percentage);
    }
}

TEST(FlowRunTest, DividesNothingByNothing) {
    FlowFixture flow;
    flow.core.reports = {{.seconds = 1, .received = 0, .total = 0}};
    flow.launchIntoRun();
    flow.stopBefore("the end of the download");
    EXPECT_TRUE(std::isnan(flow.host.window->bar.doubleValue));
    EXPECT_NE(flow.host.window->percentage.text.find("nan"), std::string::npos);
}

TEST(FlowRunTest, HoldsTheSystemAwakeExactlyWhileSomethingRuns) {
    FlowFixture flow;
    scriptDownloadAndInstallation(flow);
    EXPECT_FALSE(flow.host.isAwake);
    flow.launch();
    while (flow.host.opening() == 0) {
        ASSERT_TRUE(flow.host.isAwake);
        ASSERT_TRUE(flow.advance());
    }
    EXPECT_FALSE(flow.host.isAwake);
}

TEST(FlowRunTest, DoesNothingMoreWhenTheButtonIsPressedMeanwhile) {
    FlowFixture flow;
    flow.launchIntoRun();
    for (const char* const line : {"privateCache", "download", "record install_started", "complete"}) {
        flow.stopBefore(line);
        static_cast<void>(flow.takeLog());
        flow.delegate().start();
        EXPECT_EQ(flow.takeLog(), Lines()) << line;
        EXPECT_EQ(flow.host.works, 2U);
    }
}

TEST(FlowRunTest, SpeaksTheUsersLanguage) {
    FlowFixture flow;
    scriptDownloadAndInstallation(flow);
    flow.words = Testing::wordsOf({{"de-DE",
                                    {{"desktop_installer_checking", "Version wird geprüft…"},
                                     {"desktop_installer_downloading", "Kavio wird geladen…"},
                                     {"desktop_installer_verifying", "Kavio wird geprüft…"},
                                     {"desktop_installer_installing", "Kavio wird installiert…"},
                                     {"desktop_installer_opening", "Kavio wird geöffnet…"},
                                     {"desktop_installer_launch_error", "Kavio lässt sich nicht öffnen."},
                                     {"common_retry", "Wiederholen"}}}},
                                  {"de-AT"});
    flow.launch();
    flow.settle();
    flow.completeOpen(Testing::isRefused);
    const Lines log = flow.takeLog();
    EXPECT_EQ(Testing::only(log, "status"),
              (Lines{"status = ", "status = Version wird geprüft…", "status = Kavio wird geladen…",
                     "status = Kavio wird geprüft…", "status = Kavio wird installiert…",
                     "status = Kavio wird geöffnet…", "status = Kavio lässt sich nicht öffnen."}));
    EXPECT_EQ(flow.host.window->action.title, "Wiederholen");
    EXPECT_FALSE(flow.host.window->label.isRightToLeft);
}

TEST(FlowRunTest, WritesFromTheRightInALanguageThatDoes) {
    FlowFixture flow;
    flow.words = Testing::wordsOf({{"ar-SA", {}}}, {"ar"});
    flow.launchIntoRun();
    EXPECT_TRUE(flow.host.window->label.isRightToLeft);
    EXPECT_EQ(flow.host.window->label.alignment, TextAlignment::right);
    EXPECT_EQ(flow.host.window->percentage.alignment, TextAlignment::right);
}

TEST(FlowRunTest, ShowsTheIntroOfTheUsersFirstLanguage) {
    FlowFixture flow;
    flow.languages = {"ja-JP", "en-US"};
    flow.resources.paths = {{"intro-ja.mp4", "/ja.mp4"}, {"intro-en.mp4", "/en.mp4"}};
    flow.launchIntoRun();
    EXPECT_EQ(flow.host.window->intro.video, "/ja.mp4");
}

} // namespace

} // namespace InstallerCore
