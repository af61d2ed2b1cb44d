#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/PlatformError.h"
#include "tests/KavioInstaller/FlowFixture.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using Testing::FlowFixture;
using Testing::Lines;

const Lines windowOrderedFront = {"becomeRegular", "window made", "look = normal",  "status = ",
                                  "percentage = ", "bar = 0",     "button = Retry", "orderFront"};
const Lines errorLook = {"look = error", "percentage = , hidden", "bar = 0, hidden"};

Lines joined(Lines lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

// As a first check leaves the window when it fails with this status.
Lines shownWith(const std::string& status, const Lines& logged = {}) {
    return joined(joined(joined({"may sleep"}, windowOrderedFront), logged),
                  {errorLook[0], "status = " + status, errorLook[1], errorLook[2]});
}

void launchUntilChecked(FlowFixture& flow) {
    flow.launch();
    static_cast<void>(flow.takeLog());
    flow.settle();
}

// A first check that failed, with a window that says so.
void failFirstCheck(FlowFixture& flow) {
    flow.core.failOnce("shouldResume", "Unsafe cache directory");
    launchUntilChecked(flow);
    static_cast<void>(flow.takeLog());
    ASSERT_EQ(flow.state(), FlowState::firstCheckFailed);
}

TEST(FirstCheckTest, OpensWhatIsInstalledAndQuitsWithoutEverShowingAWindow) {
    FlowFixture flow;
    flow.core.installed = "/Applications/Kavio.app";
    launchUntilChecked(flow);
    EXPECT_EQ(flow.takeLog(),
              (Lines{"bg privateCache", "bg shouldResume /cache https://mykavio.test/latest-mac.yml",
                     "bg existing /Applications", "open /Applications/Kavio.app"}));
    EXPECT_EQ(flow.state(), FlowState::launching);
    flow.completeOpen(Testing::runs);
    EXPECT_EQ(flow.takeLog(), (Lines{"may sleep", "record existing_app_opened",
                                     "scheduleEjection /Volumes/Kavio/Kavio Installer.app", "terminate"}));
    EXPECT_EQ(flow.core.events, (Lines{"installer_opened", "existing_app_opened"}));
    EXPECT_FALSE(flow.host.window);
}

TEST(FirstCheckTest, ShowsTheWindowAndBeginsTheRunWhenNothingIsInstalled) {
    FlowFixture flow;
    flow.launch();
    static_cast<void>(flow.takeLog());
    while (flow.host.works < 2) {
        ASSERT_TRUE(flow.advance());
    }
    EXPECT_EQ(
        flow.takeLog(),
        joined(joined({"bg privateCache", "bg shouldResume /cache https://mykavio.test/latest-mac.yml",
                       "bg existing /Applications", "may sleep"},
                      windowOrderedFront),
               {"awake", "status = Checking release…", "bar = pulsing", "button = Retry, disabled, hidden"}));
    EXPECT_EQ(flow.state(), FlowState::downloading);
}

TEST(FirstCheckTest, LooksForNoApplicationWhenAnInstallationIsPending) {
    FlowFixture flow;
    flow.core.isPending = true;
    flow.core.installed = "/Applications/Kavio.app";
    flow.launch();
    static_cast<void>(flow.takeLog());
    flow.stopBefore("begin");
    EXPECT_EQ(Testing::only(flow.takeLog(), "bg "),
              (Lines{"bg privateCache", "bg shouldResume /cache https://mykavio.test/latest-mac.yml",
                     "bg record pending_install_resumed", "bg privateCache"}));
    EXPECT_EQ(flow.core.events, (Lines{"installer_opened", "pending_install_resumed"}));
}

TEST(FirstCheckTest, SaysWhenTheApplicationCannotBeOpened) {
    for (const OpenResult& result : {Testing::isRefused, Testing::isNowhere}) {
        FlowFixture flow;
        flow.core.installed = "/Applications/Kavio.app";
        launchUntilChecked(flow);
        static_cast<void>(flow.takeLog());
        flow.completeOpen(result);
        EXPECT_EQ(flow.takeLog(), shownWith("Unable to open Kavio. Please retry.")); // nothing is logged
        EXPECT_EQ(flow.state(), FlowState::firstCheckFailed);
        EXPECT_TRUE(flow.canPress());
        EXPECT_EQ(flow.core.events, (Lines{"installer_opened"}));
    }
}

TEST(FirstCheckTest, SaysWhatFailed) {
    for (const char* const operation : {"privateCache", "shouldResume", "existing"}) {
        FlowFixture flow;
        flow.launch();
        static_cast<void>(flow.takeLog());
        flow.core.on[operation] = [] { throw PlatformError(FileErrorCode::readNoPermission); };
        flow.settle();
        Lines log = flow.takeLog();
        std::erase_if(log, [](const std::string& line) { return line.starts_with("bg "); });
        EXPECT_EQ(log, shownWith("Unable to write to Applications. Check folder permissions and retry.",
                                 {std::string("log Installer failed: ") +
                                  PlatformError(FileErrorCode::readNoPermission).what()}));
        EXPECT_EQ(flow.state(), FlowState::firstCheckFailed) << operation;
        EXPECT_TRUE(flow.canPress());
        EXPECT_EQ(flow.core.events, (Lines{"installer_opened"})); // a failure here is no event
    }
}

TEST(FirstCheckTest, IsWhatTheButtonRepeatsAfterItFailed) {
    FlowFixture flow;
    failFirstCheck(flow);
    flow.core.installed = "/Applications/Kavio.app";
    flow.press();
    EXPECT_EQ(flow.takeLog(), (Lines{"awake", "button = Retry, disabled"})); // the look stays
    EXPECT_EQ(flow.state(), FlowState::launching);
    flow.settle();
    EXPECT_EQ(Testing::only(flow.takeLog(), "open"), (Lines{"open /Applications/Kavio.app"}));
    flow.completeOpen(Testing::runs);
    EXPECT_EQ(flow.takeLog(), (Lines{"may sleep", "record existing_app_opened", "orderOut",
                                     "scheduleEjection /Volumes/Kavio/Kavio Installer.app", "terminate"}));
}

TEST(FirstCheckTest, BringsTheWindowForwardTheNextTime) {
    FlowFixture flow;
    failFirstCheck(flow);
    flow.press();
    static_cast<void>(flow.takeLog());
    while (flow.host.works < 3) {
        ASSERT_TRUE(flow.advance());
    }
    Lines log = flow.takeLog();
    std::erase_if(log, [](const std::string& line) { return line.starts_with("bg "); });
    EXPECT_EQ(log, (Lines{"may sleep", "becomeRegular", "orderFront", "awake", "look = normal",
                          "status = Checking release…", "percentage = ", "bar = pulsing",
                          "button = Retry, disabled, hidden"}));
}

TEST(FirstCheckTest, CanFailAgain) {
    FlowFixture flow;
    failFirstCheck(flow);
    flow.core.fail("existing", "Missing application identity or version");
    flow.press();
    flow.settle();
    EXPECT_EQ(flow.status(), "Unable to verify the installer or application. Download the installer again.");
    EXPECT_EQ(flow.state(), FlowState::firstCheckFailed);
    EXPECT_TRUE(flow.canPress());
    EXPECT_EQ(flow.host.window->label.font.size, 15);
}

TEST(FirstCheckTest, IsNotBegunTwice) {
    FlowFixture flow;
    flow.launch();
    flow.delegate().start();
    EXPECT_EQ(flow.host.works, 1U);
}

} // namespace

} // namespace InstallerCore
