#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/install/InstallationJournal.h"
#include "tests/integration/InstallProgram.h"
#include "tests/integration/InstallRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>
#include <thread>

// What is known to need a helping hand, and that the hand of docs/RECOVERY.md helps.
namespace InstallerCore::Testing {

namespace {

namespace fs = std::filesystem;
using Effect = SystemCall::Effect;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* refusedByPolicy = "System verification or installation failed (spctl: 3)\n";
const std::string mismatch = std::string(ErrorText::versionMismatch) + "\n";

class InstallKnownRowsTest : public testing::Test {
protected:
    void SetUp() override {
        if (!canTrace()) {
            GTEST_SKIP() << "no process may be traced here";
        }
    }

    // Starts until the version is there; it must need one start.
    void install(const std::string& version) {
        root.offer(version);
        const TracedEnd end = root.start();
        ASSERT_EQ(end.output, std::string(InstallProgram::installed) + "\n") << end.errors;
    }

    // Everything is killed before the first change that the condition holds for.
    void interrupt(const std::function<bool(const SystemCall&)>& condition) {
        bool done = false;
        root.start(TracedEffects::changes, [&](const SystemCall& call) {
            const bool now = !done && call.effect == Effect::change && condition(call);
            done = done || now;
            return now ? CallAnswer::kill(Victims::all) : CallAnswer::proceed();
        });
        ASSERT_TRUE(done);
    }

    // What a user does who throws away the directories that the page names.
    void throwAway(const std::vector<fs::path>& directories) {
        for (const fs::path& directory : directories) {
            fs::rename(directory, trash.path() / directory.filename());
        }
    }

    [[nodiscard]] fs::path application() const { return root.path() / "Applications/Kavio.app"; }

    InstallRoot root;
    TemporaryDirectory trash;
};

TEST_F(InstallKnownRowsTest, AThirdInstallationOverTheSecondIsRefused) {
    install("1.0.0");
    install("2.0.0");
    EXPECT_EQ(root.stagingDirectories().size(), 2U) << "both stay until a launch is confirmed";
    root.offer("3.0.0");
    for (int start = 0; start < 2; ++start) {
        const TracedEnd end = root.start();
        EXPECT_EQ(end.output, mismatch);
        EXPECT_THAT(end.errors,
                    testing::HasSubstr(", phase installed, version 1.0.0, installed 2.0.0: Application"));
        EXPECT_EQ(root.versionOf(application()), "2.0.0");
        EXPECT_EQ(root.stagingDirectories().size(), 2U);
    }

    throwAway(root.stagingDirectories()); // once the application has been opened
    install("3.0.0");
    EXPECT_EQ(root.state(), (InstallState{.target = "3.0.0", .journal = "installed", .backup = "2.0.0"}));
}

TEST_F(InstallKnownRowsTest, AFirstInstallationThatIsRefusedInItsPlaceStaysThere) {
    root.offer("1.0.0");
    root.refuseInPlace(true);
    EXPECT_EQ(root.start().output, refusedByPolicy);
    EXPECT_EQ(root.state(), (InstallState{.target = "1.0.0", .journal = "", .backup = ""}));
    EXPECT_THAT(root.mounted(), IsEmpty());

    EXPECT_EQ(root.start().output, refusedByPolicy) << "as long as the policy says so";
    root.refuseInPlace(false);
    EXPECT_EQ(root.start().output, "current\n");
}

TEST_F(InstallKnownRowsTest, AnUpgradeThatIsRefusedInItsPlaceBringsThePreviousOneBack) {
    root.place("1.0.0");
    root.offer("2.0.0");
    root.refuseInPlace(true);
    EXPECT_EQ(root.start().output, refusedByPolicy);
    EXPECT_EQ(root.state(), (InstallState{.target = "1.0.0", .journal = "", .backup = ""}));
    EXPECT_THAT(root.mounted(), IsEmpty());
}

TEST_F(InstallKnownRowsTest, AMissingRecordIsMendedByThrowingItsDirectoryAway) {
    root.place("1.0.0");
    root.offer("2.0.0");
    interrupt(
        [](const SystemCall& call) { return call.paths.front().filename() == ".new-transaction.json"; });
    ASSERT_EQ(root.state(), (InstallState{.target = "1.0.0", .journal = "no record", .backup = ""}));
    EXPECT_EQ(root.start().status, 1);

    throwAway(root.stagingDirectories());
    install("2.0.0");
}

TEST_F(InstallKnownRowsTest, AnAnnouncedSwapIsMendedByThrowingItsDirectoryAway) {
    root.place("1.0.0");
    root.offer("2.0.0");
    interrupt([&](const SystemCall& call) { return call.paths.front() == application(); });
    ASSERT_EQ(root.state(), (InstallState{.target = "1.0.0", .journal = "replacing", .backup = ""}));
    EXPECT_EQ(root.start().output, mismatch);

    throwAway(root.stagingDirectories());
    install("2.0.0");
}

TEST_F(InstallKnownRowsTest, ADamagedApplicationIsMendedByMovingItAside) {
    root.place("1.0.0");
    install("2.0.0");
    writeFile(application() / "Contents/added", "");
    root.offer("3.0.0");
    EXPECT_EQ(root.start().output, std::string(ErrorText::signatureMismatch) + "\n");
    EXPECT_EQ(root.state().backup, "1.0.0");

    fs::rename(application(), trash / "Kavio.app");
    install("3.0.0");
    EXPECT_EQ(root.state(), (InstallState{.target = "3.0.0", .journal = "installed", .backup = "1.0.0"}))
        << "it was put back first";
}

TEST_F(InstallKnownRowsTest, ADamagedRecordIsMendedByPuttingTheBackupBackByHand) {
    root.place("1.0.0");
    root.offer("2.0.0");
    interrupt([&](const SystemCall& call) { return call.paths.back() == application(); });
    ASSERT_EQ(root.state(), (InstallState{.target = "", .journal = "replacing", .backup = "1.0.0"}));
    const fs::path staging = root.stagingDirectories().front();
    writeFile(staging / InstallationJournal::fileName, R"({"target":"Other.app"})");
    EXPECT_EQ(root.start().output, std::string(ErrorText::invalidJournal) + "\n");

    fs::rename(staging / "previous.app", application());
    throwAway({staging});
    install("2.0.0");
}

TEST_F(InstallKnownRowsTest, AnImageThatAKilledRunMountedStaysUntilTheNextUse) {
    root.offer("1.0.0");
    interrupt([&](const SystemCall& call) { // the detaching, which is the first use once all is done
        return call.program == "hdiutil" && root.state().journal == "installed";
    });
    EXPECT_EQ(root.start().output, "current\n");
    EXPECT_THAT(root.mounted(), ElementsAre("Kavio")) << "nobody has used the image";

    fs::rename(application(), trash / "Kavio.app");
    install("1.0.0");
    EXPECT_THAT(root.mounted(), IsEmpty());
}

TEST_F(InstallKnownRowsTest, WhatARemovalThatWasCutShortLeavesIsIgnored) {
    root.place("1.0.0");
    root.offer("2.0.0");
    interrupt([](const SystemCall& call) { return call.program == "ditto"; });
    std::string removed;
    interrupt([&](const SystemCall& call) {
        removed = call.paths.front().filename().string();
        return call.name == "unlinkat" && removed.starts_with(".kavio-removed-");
    });
    EXPECT_EQ(root.state(), (InstallState{.target = "1.0.0", .journal = "", .backup = ""}));
    install("2.0.0");
    EXPECT_TRUE(fs::exists(root.path() / "Applications" / removed)) << "until somebody tidies up";
}

// The installer dies, its copy tool does not; the user starts again while that one still copies.
TEST_F(InstallKnownRowsTest, ACopyThatOutlivesItsInstallerDoesNotDisturbTheNextStart) {
    root.place("1.0.0");
    root.offer("2.0.0");
    root.save();
    constexpr int step = 10; // of the calls by which the tool changes something
    int pauses = 0;
    for (bool reached = true; reached; pauses += reached ? 1 : 0) {
        root.restore();
        reached = false;
        int calls = 0;
        TracedEnd next;
        root.start(TracedEffects::changes, [&](const SystemCall& call) {
            if (call.program != "ditto" || call.effect == Effect::end) {
                return CallAnswer::proceed();
            }
            if (calls++ == pauses * step + 1) {
                reached = true;
                std::thread([&] { next = root.start(); }).join(); // one thread traces one program
            }
            return calls == 1 ? CallAnswer::kill(Victims::first) : CallAnswer::proceed();
        });
        if (reached) {
            EXPECT_EQ(next.output, std::string(InstallProgram::installed) + "\n") << next.errors;
            EXPECT_THAT(next.errors, testing::HasSubstr("unable to detach image")) << "it is still read";
            EXPECT_EQ(root.state(),
                      (InstallState{.target = "2.0.0", .journal = "installed", .backup = "1.0.0"}));
        }
    }
    EXPECT_GE(pauses, 3);
}

} // namespace

} // namespace InstallerCore::Testing
