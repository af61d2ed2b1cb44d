#include "InstallerCore/support/PlatformError.h"
#include "tests/KavioInstaller/FlowFixture.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace InstallerCore {

namespace {

using Testing::FlowFixture;
using Testing::Lines;

constexpr const char* noConnection = "Unable to download Kavio. Check your connection and retry.";
constexpr const char* unverified =
    "Unable to verify the installer or application. Download the installer again.";
constexpr const char* unsupported = "This Mac or macOS version is not supported.";
constexpr const char* noSpace = "Not enough disk space. Free up space and retry.";
constexpr const char* noPermission = "Unable to write to Applications. Check folder permissions and retry.";
constexpr const char* running =
    "Kavio is running. Save your work and quit Kavio, then click Retry to continue installing.";
constexpr const char* anything = "Unable to continue. Please retry.";

// As a run leaves the window and the user when it fails with this text.
void expectFailed(FlowFixture& flow, const std::string& text, const std::string& status) {
    EXPECT_EQ(flow.state(), FlowState::stopped);
    EXPECT_EQ(flow.core.events.back(), "installer_failed");
    EXPECT_EQ(Testing::only(flow.log.lines(), "log"), (Lines{"log Installer failed: " + text}));
    EXPECT_EQ(flow.status(), status);
    EXPECT_TRUE(flow.canPress());
    EXPECT_EQ(flow.host.window->action.title, "Retry");
    EXPECT_TRUE(flow.host.window->isBarHidden);
    EXPECT_TRUE(flow.host.window->percentage.isHidden);
    EXPECT_FALSE(flow.host.window->bar.isIndeterminate);
    EXPECT_FALSE(flow.host.window->bar.activity);
    EXPECT_EQ(flow.host.window->label.font.size, 15);
    EXPECT_FALSE(flow.host.isAwake);
    EXPECT_EQ(flow.host.terminations, 0);
    EXPECT_EQ(flow.host.opening(), 0U);
}

// What the next start needs stays where it is.
void expectNothingGivenUp(const FlowFixture& flow) {
    EXPECT_EQ(Testing::only(flow.log.lines(), "bg complete"), Lines());
    EXPECT_EQ(Testing::only(flow.log.lines(), "bg removeInstalledPackage"), Lines());
}

TEST(FlowFailureTest, EveryCallThatThrowsEndsTheRunAndTheButtonBeginsAnother) {
    struct Case {
        const char* operation;
        const char* error;
        const char* status;
    };

    constexpr Case cases[] = {
        {"privateCache", "Unsafe cache directory", anything},
        {"begin", "Unsafe cache file", anything},
        {"manifest", "HTTP 503", noConnection},
        {"readUpdateFeed", "Invalid feed field", anything},
        {"nativeArch", "This Mac is not supported by this release", unsupported},
        {"systemVersion", "Invalid version", anything},
        {"existing", "Application signature or publisher mismatch", unverified},
        {"isWritable", "Applications is not writable. Check folder permissions or use the full DMG",
         noPermission},
        {"checkSpace /cache", "Not enough disk space", noSpace},
        {"checkSpace /Applications", "Cannot read available disk space", anything},
        {"recover", "Invalid installation journal", anything},
        {"download", "Downloaded file hash mismatch", unverified},
        {"more of the download", "Incomplete download", noConnection},
        {"install", "Close Kavio after saving your work, then retry. Recordings will not be interrupted.",
         running},
        {"more of the installation", "Package changed before installation", anything},
    };
    for (const auto& [operation, error, status] : cases) {
        SCOPED_TRACE(operation);
        FlowFixture flow;
        flow.core.reports = {{.seconds = 1, .received = 1, .total = 2}};
        flow.core.messages = {InstallerMessage::verifying};
        flow.launchIntoRun();
        flow.core.failOnce(operation, error);
        flow.settle();
        expectFailed(flow, error, status);
        expectNothingGivenUp(flow);

        flow.press();
        EXPECT_EQ(flow.host.works, 3U);
        EXPECT_EQ(flow.state(), FlowState::downloading);
        flow.settle();
        EXPECT_EQ(flow.state(), FlowState::opening);
        EXPECT_EQ(Testing::only(flow.takeLog(), "open"), (Lines{"open /Applications/Kavio.app"}));
    }
}

TEST(FlowFailureTest, TakesErrorsOfTheSystemAsTheyAre) {
    struct Case {
        std::function<void()> failure;
        std::string text;
        const char* status;
    };

    const Case cases[] = {
        {[] { throw PlatformError(UrlErrorCode::cannotConnect); },
         PlatformError(UrlErrorCode::cannotConnect).what(), noConnection},
        {[] { throw PlatformError(FileErrorCode::writeOutOfSpace); },
         PlatformError(FileErrorCode::writeOutOfSpace).what(), noSpace},
        {[] { throw PlatformError(FileErrorCode::writeNoPermission); },
         PlatformError(FileErrorCode::writeNoPermission).what(), noPermission},
        {[] { throw std::runtime_error("HTTP 503"); }, "HTTP 503", anything},
    };
    for (const auto& [failure, text, status] : cases) {
        FlowFixture flow;
        flow.launchIntoRun();
        flow.core.on["download"] = failure;
        flow.settle();
        expectFailed(flow, text, status);
    }
}

TEST(FlowFailureTest, LeavesTheBarAndThePercentageAsTheyWereBehindTheError) {
    FlowFixture flow;
    flow.core.reports = {{.seconds = 1, .received = 1, .total = 4}};
    flow.core.failOnce("more of the download", "Incomplete download");
    flow.launchIntoRun();
    flow.stopBefore("more of the download");
    ASSERT_TRUE(flow.host.pump());
    static_cast<void>(flow.takeLog());
    flow.settle();
    EXPECT_EQ(flow.takeLog(),
              (Lines{"bg record installer_failed", "may sleep", "log Installer failed: Incomplete download",
                     "look = error", std::string("status = ") + noConnection, "percentage = 25.0%, hidden",
                     "bar = 25, hidden", "button = Retry"}));
}

TEST(FlowFailureTest, StopsThePulseOfAnInstallationThatFailed) {
    FlowFixture flow;
    flow.core.failOnce("install", "Application version mismatch");
    flow.launchIntoRun();
    flow.stopBefore("install ");
    static_cast<void>(flow.takeLog());
    flow.settle();
    EXPECT_EQ(flow.takeLog(),
              (Lines{"bg install /cache/5ca1ab1e.dmg 2.0.0 /Applications", "bg record installer_failed",
                     "may sleep", "log Installer failed: Application version mismatch", "look = error",
                     std::string("status = ") + unverified, "percentage = , hidden", "bar = 0, hidden",
                     "button = Retry"}));
    EXPECT_TRUE(flow.close()); // no longer installing
}

TEST(FlowFailureTest, BeginsTheNextRunAsTheFirst) {
    FlowFixture flow;
    flow.core.reports = {{.seconds = 1, .received = 1, .total = 4}};
    flow.core.failOnce("more of the download", "Incomplete download");
    flow.launchIntoRun();
    flow.settle();
    static_cast<void>(flow.takeLog());
    flow.press();
    EXPECT_EQ(flow.takeLog(), (Lines{"awake", "look = normal", "status = Checking release…",
                                     "percentage = ", "bar = pulsing", "button = Retry, disabled, hidden"}));
}

// Only closing sets the flag, and that ends the application; the look is for a core that stops by itself.
TEST(FlowFailureTest, ShowsAPauseInTheNormalLookWithTheButton) {
    FlowFixture flow;
    flow.core.reports = {{.seconds = 1, .received = 1, .total = 4}};
    flow.core.on["more of the download"] = [&] { flow.core.cancel->cancel(); };
    flow.launchIntoRun();
    flow.stopBefore("more of the download");
    ASSERT_TRUE(flow.host.pump());
    static_cast<void>(flow.takeLog());
    flow.settle();
    EXPECT_EQ(flow.takeLog(),
              (Lines{"bg record cancelled", "may sleep",
                     "log Installer failed: Download paused. Open the installer again to resume.",
                     "status = Download paused.", "button = Retry"}));
    EXPECT_EQ(flow.host.window->percentage.text, "25.0%");
    EXPECT_EQ(flow.host.window->bar, (DownloadProgressView{.doubleValue = 25}));
    EXPECT_EQ(flow.state(), FlowState::stopped);
    expectNothingGivenUp(flow);
}

TEST(FlowFailureTest, IsAPauseWhateverTheErrorWasWhenTheFlagIsSet) {
    FlowFixture flow;
    flow.core.on["install "] = [&] {
        flow.core.cancel->cancel();
        throw PlatformError(FileErrorCode::writeOutOfSpace);
    };
    flow.launchIntoRun();
    flow.settle();
    EXPECT_EQ(flow.status(), "Download paused.");
    EXPECT_FALSE(flow.host.window->isBarHidden);
    EXPECT_EQ(flow.core.events.back(), "cancelled");
    EXPECT_EQ(flow.state(), FlowState::stopped);
}

TEST(FlowFailureTest, IsAnErrorWhenTheCorePausedWithoutTheFlag) {
    FlowFixture flow;
    flow.core.failOnce("download", "Download paused. Open the installer again to resume.");
    flow.launchIntoRun();
    flow.settle();
    expectFailed(flow, "Download paused. Open the installer again to resume.", "Download paused.");
}

TEST(FlowFailureTest, GivesTheNextRunAFlagOfItsOwn) {
    FlowFixture flow;
    flow.core.on["download"] = [&] { flow.core.cancel->cancel(); };
    flow.launchIntoRun();
    flow.settle();
    const CoreOperations::CancelFlag old = flow.core.cancel;
    ASSERT_TRUE(old->isCancelled());

    flow.core.on.clear();
    flow.press();
    flow.settle();
    EXPECT_NE(flow.core.cancel, old);
    EXPECT_FALSE(flow.core.cancel->isCancelled());
    EXPECT_EQ(flow.state(), FlowState::opening);
}

} // namespace

} // namespace InstallerCore
