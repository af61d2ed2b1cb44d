#include "InstallerCore/install/Installation.h"
#include "tests/InstallerCore/install/InstallScene.h"
#include "tests/support/Expect.h"
#include "tests/support/Trap.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using testing::ElementsAre;
using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::InstallScene;
using testing::IsEmpty;
using Testing::Trap;
using Testing::TrapKind;
using Testing::treeAt;
using Testing::writeFile;

constexpr const char* running =
    "Close Kavio after saving your work, then retry. Recordings will not be interrupted.";

class RecoveryFailureTest : public testing::Test {
protected:
    // Recovery throws that text, says so in the system log, and changes nothing.
    void expectRefusal(const std::string& text, bool launchConfirmed = false) {
        const auto before = treeAt(scene_.directory);
        const auto lines = scene_.test.log.lines().size();
        expectInstallerError(text, [&] { scene_.recover(launchConfirmed); });
        EXPECT_EQ(treeAt(scene_.directory), before);
        ASSERT_EQ(scene_.test.log.lines().size(), lines + 1);
        EXPECT_TRUE(scene_.test.log.lines().back().ends_with(": " + text));
        EXPECT_THAT(scene_.events(), IsEmpty());
        scene_.expectOutsideUntouched();
    }

    template <typename Code>
    void expectSystemError(Code code) {
        const auto before = treeAt(scene_.directory);
        expectPlatformError(code, [this] { scene_.recover(); });
        EXPECT_EQ(treeAt(scene_.directory), before);
    }

    [[nodiscard]] std::string line(const std::string& rest) const {
        return "Installer recovery refused: " + (scene_.directory / InstallScene::stagingName).string() +
               rest;
    }

    InstallScene scene_;
};

TEST_F(RecoveryFailureTest, FirstOfSeveralFailuresIsTheOneReported) {
    // Everything is wrong; one after the other is mended.
    const auto staging = scene_.leave("no JSON");
    scene_.test.workspace.running = {InstallScene::bundleID};
    InstallScene::make(scene_.target, "1.0.0");
    const auto setJournal = [&](const std::string& text) { writeFile(staging / "transaction.json", text); };

    EXPECT_THROW(scene_.recover(), PlatformError);
    setJournal(R"({"target":"Other.app","phase":"x"})");
    expectRefusal("Invalid installation journal");
    setJournal(R"({"target":"Kavio.app","phase":"x"})");
    expectRefusal(running); // asked before the phase is looked at
    scene_.test.workspace.running.clear();
    expectRefusal("Unknown installation phase");
    setJournal(R"({"target":"Kavio.app","phase":"installed"})");
    expectRefusal("Missing transaction version");
    setJournal(R"({"target":"Kavio.app","phase":"installed","version":"2.0.0"})");
    expectRefusal("Application version mismatch");
    std::filesystem::remove_all(scene_.target);
    scene_.recover();
    EXPECT_THAT(scene_.stagingDirectories(), IsEmpty());
}

TEST_F(RecoveryFailureTest, RefusalIsReportedForSupport) {
    const auto staging =
        scene_.leave(R"({"target":"Kavio.app","phase":"replacing","version":"2.0.0"})", "1.0.0");
    InstallScene::make(scene_.target, "1.0.0");
    expectRefusal("Application version mismatch");
    EXPECT_EQ(scene_.test.log.lines().back(),
              line(", phase replacing, version 2.0.0, installed 1.0.0: Application version mismatch"));

    std::filesystem::remove_all(scene_.target);
    writeFile(staging / "transaction.json", "{}");
    expectRefusal("Invalid installation journal");
    EXPECT_EQ(scene_.test.log.lines().back(),
              line(", phase unknown, version unknown, installed unknown: Invalid installation journal"));

    writeFile(staging / "transaction.json", R"({"target":"Kavio.app","version":"3.0.0"})");
    expectRefusal("Unknown installation phase");
    EXPECT_EQ(scene_.test.log.lines().back(),
              line(", phase unknown, version 3.0.0, installed unknown: Unknown installation phase"));

    std::filesystem::remove(staging / "transaction.json");
    expectSystemError(FileErrorCode::readNoSuchFile);
    EXPECT_EQ(
        scene_.test.log.lines().back(),
        line(", phase unknown, version unknown, installed unknown: The file to be read does not exist."));
}

TEST_F(RecoveryFailureTest, RunningApplicationIsAskedForOnlyWhenSomethingIsLeft) {
    scene_.test.workspace.running = {InstallScene::bundleID};
    scene_.recover();
    for (const char* phase : {"copying", "replacing", "installed", "unknown"}) {
        scene_.leave(R"({"target":"Kavio.app","version":"2.0.0","phase":")" + std::string(phase) + "\"}");
        expectRefusal(running);
        std::filesystem::remove_all(scene_.directory / InstallScene::stagingName);
    }
}

TEST_F(RecoveryFailureTest, ForgedJournalIsRefused) {
    for (const char* text : {"{}", "[]", R"(["Kavio.app"])", R"({"phase":"copying","version":"2.0.0"})",
                             R"({"target":"Other.app","phase":"copying","version":"2.0.0"})",
                             R"({"target":"../Kavio.app","phase":"copying","version":"2.0.0"})",
                             R"({"target":"Kavio.app","phase":"copying","version":2})",
                             R"({"target":"Kavio.app","phase":"copying","version":null})",
                             R"({"target":"Kavio.app","phase":"copying","extra":["2.0.0"]})"}) {
        SCOPED_TRACE(text);
        scene_.leave(text, "1.0.0");
        expectRefusal("Invalid installation journal");
        std::filesystem::remove_all(scene_.directory / InstallScene::stagingName);
    }
    scene_.leave(std::string(30'000, '[') + std::string(30'000, ']'));
    expectRefusal("Invalid installation journal");
}

TEST_F(RecoveryFailureTest, JournalThatIsNoDocumentIsTheErrorOfTheSystem) {
    for (const char* text : {"", "\"Kavio.app\"", "copying", "{\"target\":\"Kavio.app\""}) {
        scene_.leave(text);
        const auto before = treeAt(scene_.directory);
        try {
            scene_.recover();
            ADD_FAILURE() << "no error for " << text;
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.domain(), ErrorDomain::json);
        }
        EXPECT_EQ(treeAt(scene_.directory), before);
        std::filesystem::remove_all(scene_.directory / InstallScene::stagingName);
    }
    scene_.leave(std::string(65'537, ' '));
    expectSystemError(FileErrorCode::readTooLarge);
}

TEST_F(RecoveryFailureTest, MissingJournalIsTheErrorOfTheSystem) {
    std::filesystem::create_directory(scene_.directory / InstallScene::stagingName);
    for (int start = 0; start < 2; ++start) { // and stays so
        expectSystemError(FileErrorCode::readNoSuchFile);
    }
}

TEST_F(RecoveryFailureTest, PlantedJournalIsNotReadThrough) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const auto staging = scene_.directory / InstallScene::stagingName;
        std::filesystem::remove_all(staging);
        std::filesystem::create_directory(staging);
        const Trap trap(staging / "transaction.json", kind);
        expectPlatformError(FileErrorCode::notRegularFile, [this] { scene_.recover(); });
        trap.expectUntouched();
    }
}

TEST_F(RecoveryFailureTest, LinkAsStagingDirectoryIsRefusedUnread) {
    for (const TrapKind kind : Testing::allTrapLinks) {
        SCOPED_TRACE(nameOf(kind));
        const auto staging = scene_.directory / InstallScene::stagingName;
        std::filesystem::remove(staging);
        const Trap trap(staging, kind);
        expectRefusal("Unsafe recovery directory");
        expectRefusal("Unsafe recovery directory", true);
        trap.expectUntouched();
    }
}

TEST_F(RecoveryFailureTest, OtherEntryAsStagingDirectoryIsTheErrorOfTheSystem) {
    writeFile(scene_.directory / InstallScene::stagingName, "a file");
    expectSystemError(FileErrorCode::readUnknown);
    std::filesystem::remove(scene_.directory / InstallScene::stagingName);
    const Trap fifo(scene_.directory / InstallScene::stagingName, TrapKind::fifo);
    expectPlatformError(FileErrorCode::readUnknown, [this] { scene_.recover(); });
    fifo.expectUntouched();
}

TEST_F(RecoveryFailureTest, LinkAsBackupIsNotPutBack) {
    for (const TrapKind kind : Testing::allTrapLinks) {
        SCOPED_TRACE(nameOf(kind));
        std::filesystem::remove_all(scene_.directory / InstallScene::stagingName);
        const auto staging = scene_.leave(R"({"target":"Kavio.app","phase":"replacing","version":"2.0.0"})");
        const Trap trap(staging / "previous.app", kind);
        expectRefusal("Unsafe recovery backup");
        trap.expectUntouched();
    }
}

TEST_F(RecoveryFailureTest, LinkToNothingAsTargetIsOne) {
    scene_.leave(R"({"target":"Kavio.app","phase":"replacing","version":"2.0.0"})", "1.0.0");
    std::filesystem::create_symlink("nowhere", scene_.target);
    expectRefusal("Invalid application bundle");
}

TEST_F(RecoveryFailureTest, TargetThatDoesNotVerifyKeepsTheBackup) {
    scene_.leave(R"({"target":"Kavio.app","phase":"installed","version":"2.0.0"})", "1.0.0");
    InstallScene::make(scene_.target, "2.0.0");
    writeFile(scene_.target / "added", "");
    expectRefusal("Application signature or publisher mismatch");
    expectRefusal("Application signature or publisher mismatch", true);
    std::filesystem::remove(scene_.target / "added");
    scene_.failure = [](const std::string& effect) { return effect.starts_with("spctl") ? 9 : 0; };
    expectRefusal("System verification or installation failed (spctl: 9)", true);
}

TEST_F(RecoveryFailureTest, FirstFailureEndsIt) {
    for (const char* name :
         {".kavio-install-00000000-0000-4000-8000-000000000001", InstallScene::stagingName}) {
        scene_.leave("{}", "1.0.0", name);
    }
    expectRefusal("Invalid installation journal");
    EXPECT_EQ(std::count(scene_.effects.begin(), scene_.effects.end(), "Directory.open transaction.json"), 1);
}

TEST_F(RecoveryFailureTest, WhatWasDoneBeforeAFailureStaysDone) {
    scene_.leave(R"({"target":"Kavio.app","phase":"replacing","version":"2.0.0"})", "1.0.0");
    scene_.test.files.failAt("Folder.move", 2, FileErrorCode::writeNoPermission);
    expectPlatformError(FileErrorCode::writeNoPermission, [this] { scene_.recover(); });
    EXPECT_TRUE(scene_.isInstalled("1.0.0"));
    EXPECT_THAT(scene_.events(), IsEmpty());
    // As after a stop between "replacing" and the move aside.
    expectRefusal("Application version mismatch");
}

TEST_F(RecoveryFailureTest, MissingDestinationIsTheErrorOfTheSystem) {
    std::filesystem::remove_all(scene_.directory);
    expectPlatformError(FileErrorCode::readNoSuchFile, [this] { scene_.recover(); });
}

// The third installation by an installer over its own second: the first one's journal names a version that is
// not there any more.
TEST_F(RecoveryFailureTest, RecordOfAnEarlierInstallationIsHeldAgainstALaterOne) {
    static_cast<void>(scene_.install());
    scene_.recover();
    std::filesystem::remove_all(scene_.source);
    InstallScene::make(scene_.source, "3.0.0");
    scene_.artifact.appVersion = "3.0.0";
    static_cast<void>(scene_.install());
    EXPECT_TRUE(scene_.isInstalled("3.0.0"));
    EXPECT_EQ(scene_.stagingDirectories().size(), 2U);
    expectRefusal("Application version mismatch");
    EXPECT_THAT(scene_.test.log.lines().back(),
                testing::HasSubstr(", phase installed, version 2.0.0, installed 3.0.0: "));
}

} // namespace

} // namespace InstallerCore
