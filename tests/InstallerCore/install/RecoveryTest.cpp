#include "InstallerCore/install/Installation.h"
#include "tests/InstallerCore/install/InstallScene.h"
#include "tests/support/Expect.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using Testing::InstallScene;
using testing::IsEmpty;
using Testing::treeAt;
using Testing::writeFile;

using Effects = std::vector<std::string>;

std::string journal(const std::string& phase, const std::string& version = "2.0.0") {
    return R"({"target":"Kavio.app","phase":")" + phase + R"(","version":")" + version + "\"}";
}

struct Row {
    const char* phase;
    const char* targetVersion; // empty: there is none
    const char* backupVersion;
    bool launchConfirmed;
    const char* leftVersion; // at the target
    bool staysInPlace;       // the staging directory, as it was
    const char* event;
};

const Row rows[] = {
    {"copying", "", "", false, "", false, ""},
    {"copying", "", "", true, "", false, ""},
    {"copying", "1.0.0", "", false, "1.0.0", false, ""},
    {"copying", "", "1.0.0", false, "", false, ""},
    {"copying", "1.0.0", "1.0.0", true, "1.0.0", false, ""},
    {"replacing", "", "1.0.0", false, "1.0.0", false, "recovery_backup_restored"},
    {"replacing", "", "1.0.0", true, "1.0.0", false, "recovery_backup_restored"},
    {"replacing", "", "", false, "", false, "recovery_missing_app_cleared"},
    {"replacing", "", "", true, "", false, "recovery_missing_app_cleared"},
    {"replacing", "2.0.0", "1.0.0", false, "2.0.0", true, ""},
    {"replacing", "2.0.0", "", false, "2.0.0", true, ""},
    {"replacing", "2.0.0", "1.0.0", true, "2.0.0", false, ""},
    {"installed", "", "1.0.0", false, "1.0.0", false, "recovery_backup_restored"},
    {"installed", "", "1.0.0", true, "1.0.0", false, "recovery_backup_restored"},
    {"installed", "", "", false, "", false, "recovery_missing_app_cleared"},
    {"installed", "", "", true, "", false, "recovery_missing_app_cleared"},
    {"installed", "2.0.0", "1.0.0", false, "2.0.0", true, ""},
    {"installed", "2.0.0", "", false, "2.0.0", true, ""},
    {"installed", "2.0.0", "1.0.0", true, "2.0.0", false, ""},
    {"installed", "2.0.0", "", true, "2.0.0", false, ""},
};

class RecoveryTest : public testing::Test {
protected:
    InstallScene scene_;
};

TEST_F(RecoveryTest, EachStateOnDiskHasItsOutcome) {
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.phase) + " target " + row.targetVersion + " backup " +
                     row.backupVersion + (row.launchConfirmed ? " launched" : ""));
        InstallScene scene;
        const auto staging = scene.leave(journal(row.phase), row.backupVersion);
        InstallScene::make(staging / "Kavio.app/half", "2.0.0");
        const auto before = treeAt(staging);
        if (*row.targetVersion != '\0') {
            InstallScene::make(scene.target, row.targetVersion);
        }
        scene.recover(row.launchConfirmed);
        EXPECT_EQ(treeAt(scene.target),
                  *row.leftVersion == '\0' ? Testing::Tree() : InstallScene::genuine(row.leftVersion));
        EXPECT_EQ(treeAt(staging), row.staysInPlace ? before : Testing::Tree());
        EXPECT_EQ(scene.stagingDirectories().size(), row.staysInPlace ? 1U : 0U);
        EXPECT_THAT(scene.events(), *row.event == '\0' ? Effects() : Effects{row.event});
        EXPECT_THAT(scene.test.log.lines(), IsEmpty());
        scene.expectOutsideUntouched();
        const std::size_t others = (*row.leftVersion == '\0' ? 0U : 1U) + (row.staysInPlace ? 1U : 0U);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(scene.directory), {}),
                  1 + std::ptrdiff_t(others));
    }
}

TEST_F(RecoveryTest, DestinationWithoutRemainsIsNotTouched) {
    InstallScene::make(scene_.target, "1.0.0");
    scene_.recover();
    EXPECT_THAT(scene_.effects, ElementsAre("Folders.open D", "Directory.names"));
    EXPECT_TRUE(scene_.isInstalled("1.0.0"));
    EXPECT_THAT(scene_.events(), IsEmpty());
}

TEST_F(RecoveryTest, OtherEntriesAreNotLookedAt) {
    const char* const names[] = {".kavio-install-notes",
                                 ".kavio-install-",
                                 ".kavio-install-01234567-89AB-CDEF-0123-456789ABCDE",
                                 ".kavio-removed-01234567-89AB-CDEF-0123-456789ABCDEF",
                                 "previous.app",
                                 "transaction.json"};
    for (const char* name : names) {
        scene_.leave(journal("copying"), "1.0.0", name);
    }
    const auto before = treeAt(scene_.directory);
    scene_.recover();
    EXPECT_EQ(treeAt(scene_.directory), before);
    EXPECT_THAT(scene_.effects, ElementsAre("Folders.open D", "Directory.names"));
}

TEST_F(RecoveryTest, IdentifierMayBeInEitherCase) {
    const auto staging =
        scene_.leave(journal("copying"), "", ".kavio-install-0123abcd-89AB-cdef-0123-456789abcdef");
    scene_.recover();
    EXPECT_FALSE(std::filesystem::exists(staging));
}

TEST_F(RecoveryTest, SeveralInstallationsAreSettledOneAfterTheOther) {
    scene_.leave(journal("copying"), "", ".kavio-install-00000000-0000-4000-8000-000000000001");
    scene_.leave(journal("copying"), "1.0.0", ".kavio-install-00000000-0000-4000-8000-000000000002");
    const auto kept = scene_.leave(journal("installed"), "1.0.0");
    InstallScene::make(scene_.target, "2.0.0");
    scene_.recover();
    EXPECT_THAT(scene_.stagingDirectories(), ElementsAre(kept));
}

TEST_F(RecoveryTest, OtherMembersAndTheirOrderDoNotMatter) {
    scene_.leave(R"({"version":"2.0.0","other":"x","phase":"installed","target":"Kavio.app"})", "1.0.0");
    scene_.recover();
    EXPECT_TRUE(scene_.isInstalled("1.0.0"));
}

TEST_F(RecoveryTest, VersionIsNotNeededWithoutATarget) {
    scene_.leave(R"({"phase":"replacing","target":"Kavio.app"})", "1.0.0");
    scene_.recover();
    EXPECT_TRUE(scene_.isInstalled("1.0.0"));
}

TEST_F(RecoveryTest, WhatASuccessLeftIsVerifiedAtEveryStart) {
    InstallScene::make(scene_.target, "1.0.0");
    static_cast<void>(scene_.install());
    for (int start = 0; start < 2; ++start) {
        scene_.effects.clear();
        scene_.recover();
        EXPECT_TRUE(scene_.isInstalled("2.0.0"));
        EXPECT_EQ(scene_.stagingDirectories().size(), 1U);
        EXPECT_THAT(scene_.effects, testing::Contains("validity D/Kavio.app [installed]"));
    }
    scene_.test.workspace.running = {InstallScene::bundleID}; // which the caller has launched
    scene_.recover(true);
    EXPECT_THAT(scene_.stagingDirectories(), IsEmpty());
    EXPECT_TRUE(scene_.isInstalled("2.0.0"));
}

// Nothing but an application is ever put back, but what kind of entry it is goes by its own name only.
TEST_F(RecoveryTest, BackupIsAnyEntryButALink) {
    const auto staging = scene_.leave(journal("replacing"));
    writeFile(staging / "previous.app", "a file");
    scene_.recover();
    EXPECT_EQ(Testing::readFile(scene_.target), "a file");
    EXPECT_THAT(scene_.events(), ElementsAre("recovery_backup_restored"));
}

TEST_F(RecoveryTest, EventThatCannotBeRecordedChangesNothing) {
    writeFile(scene_.test.home / "Library", "in the way");
    scene_.leave(journal("replacing"), "1.0.0");
    scene_.recover();
    EXPECT_TRUE(scene_.isInstalled("1.0.0"));
    EXPECT_THAT(scene_.test.log.lines(), ElementsAre("Installer event could not be persisted"));
}

// All effects of each kind of outcome, whole and in order; for the event, only that it comes last.
class RecoveryEffectsTest : public testing::Test {
protected:
    [[nodiscard]] static Effects journalRead() {
        return {"Folders.open D",
                "Directory.names",
                "Directory.attributes .kavio-install-UUID",
                "Folder.openFolder .kavio-install-UUID",
                "Directory.open transaction.json",
                "FileHandle.read",
                "FileHandle.read"};
    }

    [[nodiscard]] static Effects removal(const std::string& phase, const Effects& entries) {
        Effects effects = {"Directory.names"};
        for (const std::string& entry : entries) {
            effects.push_back("Folder.removeTree " + entry);
        }
        effects.push_back("Folder.move .kavio-install-UUID .kavio-removed-UUID [" + phase + "]");
        effects.push_back("Folder.removeTree .kavio-removed-UUID");
        return effects;
    }

    static void append(Effects& effects, const Effects& more) {
        effects.insert(effects.end(), more.begin(), more.end());
    }

    void expectEffects(const Effects& middle, bool launchConfirmed = false) {
        scene_.recover(launchConfirmed);
        Effects expected = journalRead();
        if (!launchConfirmed) {
            expected.push_back("running?");
        }
        append(expected, middle);
        // Recording an event begins with the cache directory.
        const auto event =
            std::find_if(scene_.effects.begin(), scene_.effects.end(),
                         [](const std::string& effect) { return effect.starts_with("Files.homeDirectory"); });
        EXPECT_EQ(event != scene_.effects.end(), !scene_.events().empty());
        EXPECT_THAT(Effects(scene_.effects.begin(), event), ElementsAreArray(expected));
    }

    InstallScene scene_;
};

const Effects verified = {"validity D/Kavio.app [installed]",
                          "Files.openForReading D/Kavio.app/Contents/Info.plist",
                          "FileHandle.read",
                          "FileHandle.read",
                          "Files.openForReading D/Kavio.app/Contents/Info.plist",
                          "FileHandle.read",
                          "FileHandle.read",
                          "spctl --assess --type execute D/Kavio.app"};

TEST_F(RecoveryEffectsTest, OfAnUnfinishedCopy) {
    scene_.leave(journal("copying"), "1.0.0");
    expectEffects(removal("copying", {"previous.app"}));
}

TEST_F(RecoveryEffectsTest, OfABackupThatIsRestored) {
    scene_.leave(journal("replacing"), "1.0.0");
    Effects expected = {"Directory.names", "Directory.names", "Directory.attributes previous.app",
                        "Folder.move previous.app Kavio.app [replacing]"};
    append(expected, removal("replacing", {}));
    expectEffects(expected);
}

TEST_F(RecoveryEffectsTest, OfAnApplicationThatIsMissing) {
    scene_.leave(journal("installed"));
    Effects expected = {"Directory.names", "Directory.names"};
    append(expected, removal("installed", {}));
    expectEffects(expected);
}

TEST_F(RecoveryEffectsTest, OfAnInstalledApplication) {
    scene_.leave(journal("installed"), "1.0.0");
    InstallScene::make(scene_.target, "2.0.0");
    Effects expected = {"Directory.names", "Directory.names"};
    append(expected, verified);
    expectEffects(expected);
}

TEST_F(RecoveryEffectsTest, OfALaunchedApplication) {
    scene_.leave(journal("installed"), "1.0.0");
    InstallScene::make(scene_.target, "2.0.0");
    Effects expected = {"Directory.names", "Directory.names"};
    append(expected, verified);
    append(expected, removal("installed", {"previous.app"}));
    expectEffects(expected, true);
}

} // namespace

} // namespace InstallerCore
