#include "tests/KavioInstaller/FlowFixture.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using Testing::FlowFixture;
using Testing::Lines;

constexpr const char* cannotOpen = "Unable to open Kavio. Please retry.";

// Installed, and about to be opened.
void installAndOpen(FlowFixture& flow) {
    flow.launchIntoRun();
    flow.settle();
    ASSERT_EQ(flow.state(), FlowState::opening);
    static_cast<void>(flow.takeLog());
}

TEST(FlowOpeningTest, EndsTheInstallerOnceTheApplicationRuns) {
    FlowFixture flow;
    installAndOpen(flow);
    flow.completeOpen(Testing::runs);
    EXPECT_EQ(flow.takeLog(), (Lines{"record app_opened", "orderOut",
                                     "scheduleEjection /Volumes/Kavio/Kavio Installer.app", "terminate"}));
}

TEST(FlowOpeningTest, ShowsAnErrorAndLogsIt) {
    FlowFixture flow;
    installAndOpen(flow);
    flow.completeOpen(Testing::isRefused);
    EXPECT_EQ(flow.takeLog(), (Lines{"log Installer launch failed: It is damaged.", "look = error",
                                     std::string("status = ") + cannotOpen, "percentage = , hidden",
                                     "bar = 100, hidden", "button = Retry"}));
    EXPECT_EQ(flow.state(), FlowState::opening);
}

TEST(FlowOpeningTest, ShowsAnErrorWithoutALineInTheLogWhenNothingRunsAndNobodySaysWhy) {
    FlowFixture flow;
    installAndOpen(flow);
    flow.completeOpen(Testing::isNowhere);
    EXPECT_EQ(flow.takeLog(), (Lines{"look = error", std::string("status = ") + cannotOpen,
                                     "percentage = , hidden", "bar = 100, hidden", "button = Retry"}));
}

TEST(FlowOpeningTest, TakesAnErrorForOneEvenWhenAnApplicationRuns) {
    FlowFixture flow;
    installAndOpen(flow);
    flow.completeOpen({.error = "It is odd.", .isRunning = true});
    EXPECT_EQ(flow.status(), cannotOpen);
    EXPECT_EQ(flow.host.terminations, 0);
    EXPECT_EQ(Testing::only(flow.core.events, "app_opened"), Lines());
}

TEST(FlowOpeningTest, IsRepeatedByTheButtonWithoutAnotherRun) {
    for (const bool isCurrent : {false, true}) {
        FlowFixture flow;
        if (isCurrent) {
            flow.core.current = "/Applications/Kavio.app";
        }
        installAndOpen(flow);
        for (const OpenResult& result : {Testing::isRefused, Testing::isNowhere, Testing::isRefused}) {
            flow.completeOpen(result);
            static_cast<void>(flow.takeLog());
            flow.press();
            EXPECT_EQ(flow.takeLog(),
                      (Lines{"open /Applications/Kavio.app", "look = normal", "status = Opening Kavio…",
                             "percentage = ", "bar = 100", "button = Retry, hidden"}));
            EXPECT_FALSE(flow.host.isAwake);
        }
        flow.completeOpen(Testing::runs);
        EXPECT_EQ(flow.host.terminations, 1);
        EXPECT_EQ(flow.host.works, 2U);
    }
}

TEST(FlowOpeningTest, OpensWhatTheInstallationGave) {
    FlowFixture flow;
    flow.core.current = "/Applications/Kavio.app/elsewhere";
    flow.launchIntoRun();
    flow.settle();
    EXPECT_EQ(Testing::only(flow.takeLog(), "open"), (Lines{"open /Applications/Kavio.app/elsewhere"}));
}

} // namespace

} // namespace InstallerCore
