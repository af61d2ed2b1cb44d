#include "tests/KavioInstaller/FlowFixture.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using Testing::FlowFixture;
using Testing::Lines;

const Lines lastEvents(const FlowFixture& flow, std::ptrdiff_t count) {
    return {flow.core.events.end() - count, flow.core.events.end()};
}

void scriptRun(FlowFixture& flow) {
    flow.core.reports = {{.seconds = 1, .received = 1, .total = 4},
                         {.seconds = 2, .received = 4, .total = 4}};
    flow.core.messages = {InstallerMessage::verifying};
}

TEST(FlowCloseTest, SavesADownloadAndEndsTheApplicationOnceTheRunHasStopped) {
    FlowFixture flow;
    scriptRun(flow);
    flow.launchIntoRun();
    flow.stopBefore("more of the download");
    ASSERT_TRUE(flow.host.pump());
    static_cast<void>(flow.takeLog());
    EXPECT_FALSE(flow.close());
    EXPECT_EQ(flow.takeLog(), (Lines{"status = Saving download progress…"}));
    EXPECT_EQ(flow.state(), FlowState::closing);
    EXPECT_EQ(flow.host.terminations, 0);
    flow.settle();
    EXPECT_EQ(flow.takeLog(), (Lines{"bg record cancelled", "terminate"})); // nothing is removed or completed
}

TEST(FlowCloseTest, IsSavingUntilTheRunHasStoppedHoweverOftenItIsAsked) {
    FlowFixture flow;
    scriptRun(flow);
    flow.launchIntoRun();
    flow.stopBefore("more of the download");
    for (int times = 0; times < 3; ++times) {
        EXPECT_FALSE(flow.close());
        flow.delegate().start();
        EXPECT_EQ(flow.state(), FlowState::closing);
    }
    flow.settle();
    EXPECT_EQ(lastEvents(flow, 1), (Lines{"cancelled"}));
    EXPECT_EQ(flow.host.terminations, 1);
}

TEST(FlowCloseTest, ShowsAReportThatWasOnItsWay) {
    FlowFixture flow;
    scriptRun(flow);
    flow.launchIntoRun();
    flow.stopBefore("more of the download");
    EXPECT_FALSE(flow.close());
    ASSERT_TRUE(flow.host.pump());
    EXPECT_EQ(flow.status(), "Downloading Kavio…");
    EXPECT_EQ(flow.state(), FlowState::closing);
}

// Closes when the background is about to do what begins so, and lets everything come to its end.
void closeBefore(FlowFixture& flow, const std::string& line) {
    scriptRun(flow);
    flow.launchIntoRun();
    flow.stopBefore(line);
    EXPECT_FALSE(flow.close());
    flow.settle();
}

TEST(FlowCloseTest, StopsTheRunAtItsNextLookAtTheFlag) {
    struct Case {
        const char* before;
        const char* lastCall;
    };

    constexpr const char* manifest = "bg manifest";
    constexpr const char* download =
        "bg download https://mykavio.test/Kavio-2.0.0-arm64.dmg /cache/5ca1ab1e.dmg";
    constexpr Case cases[] = {
        {"the beginning", manifest},
        {"privateCache", manifest},
        {"begin", manifest},
        {"manifest", manifest},
        {"readUpdateFeed", download},
        {"nativeArch", download},
        {"record manifest_resolved", download},
        {"systemVersion", download},
        {"cleanExpiredDownloads", download},
        {"existing", download},
        {"isWritable", download},
        {"checkSpace /cache", download},
        {"checkSpace /Applications", download},
        {"recover", download},
        {"record payload_started", download},
        {"download", download},
        {"more of the download", download},
        {"the end of the download", download},
    };
    for (const auto& [before, lastCall] : cases) {
        SCOPED_TRACE(before);
        FlowFixture flow;
        closeBefore(flow, before);
        const Lines log = Testing::only(flow.takeLog(), "bg ");
        EXPECT_EQ(Lines(log.end() - 2, log.end()), (Lines{lastCall, "bg record cancelled"}));
        EXPECT_EQ(flow.host.terminations, 1);
        EXPECT_EQ(flow.host.opening(), 0U);
        EXPECT_EQ(flow.host.window->label.font.size, 17); // no error is shown
    }
}

TEST(FlowCloseTest, ComesTooLateOnceTheRunHasLookedForTheLastTime) {
    FlowFixture flow;
    closeBefore(flow, "record payload_verified");
    EXPECT_EQ(flow.state(), FlowState::opening);
    EXPECT_EQ(lastEvents(flow, 1), (Lines{"payload_cache_removed"}));
    flow.completeOpen(Testing::runs);
    EXPECT_EQ(flow.host.terminations, 1);
}

TEST(FlowCloseTest, ComesTooLateWhileTheRunWaitsForTheMainThread) {
    FlowFixture flow;
    scriptRun(flow);
    flow.launchIntoRun();
    flow.stopBefore("record payload_verified");
    flow.host.resume();
    EXPECT_FALSE(flow.close());
    EXPECT_EQ(flow.state(), FlowState::closing);
    ASSERT_TRUE(flow.host.pump());
    EXPECT_EQ(flow.state(), FlowState::installing); // wins
    flow.settle();
    EXPECT_EQ(flow.state(), FlowState::opening);
}

TEST(FlowCloseTest, ComingTooLateChangesTheNameOfAFailureAndEndsTheApplication) {
    FlowFixture flow;
    flow.core.fail("install ", "Application version mismatch");
    closeBefore(flow, "record payload_verified");
    EXPECT_EQ(lastEvents(flow, 2), (Lines{"install_started 2.0.0", "cancelled"}));
    EXPECT_EQ(flow.host.terminations, 1);
    EXPECT_EQ(Testing::only(flow.takeLog(), "log"), Lines());
}

TEST(FlowCloseTest, IsRefusedWithABeepWhileInstalling) {
    for (const char* const line :
         {"record install_started", "install ", "more of the installation", "record install_succeeded",
          "removeInstalledPackage", "record payload_cache_removed", "complete"}) {
        SCOPED_TRACE(line);
        FlowFixture flow;
        scriptRun(flow);
        flow.launchIntoRun();
        flow.stopBefore(line);
        static_cast<void>(flow.takeLog());
        EXPECT_FALSE(flow.close());
        EXPECT_EQ(flow.takeLog(), (Lines{"beep"}));
        EXPECT_EQ(flow.state(), FlowState::installing);
        EXPECT_FALSE(flow.core.cancel->isCancelled());
        flow.settle();
        EXPECT_EQ(flow.state(), FlowState::opening);
    }
}

TEST(FlowCloseTest, IsRefusedUntilTheMainThreadHasHeardThatTheRunIsOver) {
    FlowFixture flow;
    flow.launchIntoRun();
    flow.core.failOnce("manifest", "HTTP 503");
    flow.stopBefore("record installer_failed");
    flow.host.resume();
    ASSERT_FALSE(flow.host.isBusy());
    EXPECT_FALSE(flow.close());
    flow.settle();
    EXPECT_EQ(lastEvents(flow, 1), (Lines{"installer_failed"})); // it had failed already
    EXPECT_EQ(flow.host.terminations, 1);
    EXPECT_EQ(Testing::only(flow.takeLog(), "log"), Lines());
}

TEST(FlowCloseTest, EndsTheApplicationAtOnceWhenNothingRuns) {
    struct Case {
        const char* name;
        std::function<void(FlowFixture&)> arrive;
        FlowState state;
    };

    const Case cases[] = {
        {"the first check failed",
         [](FlowFixture& flow) {
             flow.core.fail("shouldResume", "Unsafe cache directory");
             flow.launch();
             flow.settle();
         },
         FlowState::firstCheckFailed},
        {"a run failed",
         [](FlowFixture& flow) {
             flow.core.fail("manifest", "HTTP 503");
             flow.launch();
             flow.settle();
         },
         FlowState::stopped},
        {"a run was paused",
         [](FlowFixture& flow) {
             flow.core.on["download"] = [&flow] { flow.core.cancel->cancel(); };
             flow.launch();
             flow.settle();
         },
         FlowState::stopped},
        {"the application is being opened",
         [](FlowFixture& flow) {
             flow.launch();
             flow.settle();
         },
         FlowState::opening},
        {"the application could not be opened",
         [](FlowFixture& flow) {
             flow.launch();
             flow.settle();
             flow.completeOpen(Testing::isRefused);
         },
         FlowState::opening},
    };
    for (const auto& [name, arrive, state] : cases) {
        SCOPED_TRACE(name);
        FlowFixture flow;
        arrive(flow);
        ASSERT_EQ(flow.state(), state);
        static_cast<void>(flow.takeLog());
        EXPECT_TRUE(flow.close());
        EXPECT_EQ(flow.takeLog(), (Lines{"terminate"}));
    }
}

TEST(FlowCloseTest, IsRememberedFromTheFirstCheckButCancelsNoLaterRun) {
    FlowFixture flow;
    flow.launch();
    flow.stopBefore("existing");
    static_cast<void>(flow.takeLog());
    EXPECT_FALSE(flow.close());
    EXPECT_EQ(flow.takeLog(), Lines()); // there is no window yet
    flow.settle();
    EXPECT_FALSE(flow.core.cancel->isCancelled());
    EXPECT_EQ(flow.state(), FlowState::opening);
}

TEST(FlowCloseTest, OfTheFirstCheckStillOpensWhatIsInstalled) {
    FlowFixture flow;
    flow.core.installed = "/Applications/Kavio.app";
    flow.launch();
    flow.stopBefore("existing");
    EXPECT_FALSE(flow.close());
    flow.settle();
    EXPECT_FALSE(flow.close()); // while it is being opened
    flow.completeOpen(Testing::runs);
    EXPECT_EQ(lastEvents(flow, 1), (Lines{"existing_app_opened"}));
    EXPECT_EQ(flow.host.terminations, 1);
}

TEST(FlowCloseTest, DuringARetriedFirstCheckEndsTheApplicationWhenTheRunAfterItFails) {
    FlowFixture flow;
    flow.core.failOnce("shouldResume", "Unsafe cache directory");
    flow.launch();
    flow.settle();
    flow.press();
    static_cast<void>(flow.takeLog());
    EXPECT_FALSE(flow.close());
    EXPECT_EQ(flow.takeLog(), (Lines{"status = Saving download progress…"}));

    flow.stopBefore("begin");
    EXPECT_EQ(flow.status(), "Checking release…");
    flow.core.failOnce("manifest", "HTTP 503");
    flow.settle();
    EXPECT_EQ(lastEvents(flow, 1), (Lines{"installer_failed"})); // the flag is a new one
    EXPECT_EQ(flow.host.terminations, 1);
    EXPECT_EQ(Testing::only(flow.takeLog(), "look = error"), Lines());
}

TEST(FlowCloseTest, DuringAFirstCheckThatFailsShowsTheErrorAndIsRemembered) {
    FlowFixture flow;
    flow.launch();
    flow.core.failOnce("existing", "Unsafe cache directory");
    flow.stopBefore("existing");
    EXPECT_FALSE(flow.close());
    flow.settle();
    EXPECT_EQ(flow.state(), FlowState::firstCheckFailed);
    EXPECT_EQ(flow.host.terminations, 0);
    flow.press();
    EXPECT_EQ(flow.state(), FlowState::closing);
}

} // namespace

} // namespace InstallerCore
