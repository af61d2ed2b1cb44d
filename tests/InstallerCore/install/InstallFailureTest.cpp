#include "InstallerCore/install/Installation.h"
#include "tests/InstallerCore/install/InstallScene.h"
#include "tests/support/Expect.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

using testing::ElementsAre;
using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::infoPropertyList;
using Testing::InstallScene;
using testing::IsEmpty;
using Testing::treeAt;
using Testing::writeFile;

constexpr const char* running =
    "Close Kavio after saving your work, then retry. Recordings will not be interrupted.";
constexpr std::int64_t margin = 536'870'912;

// Real volumes, but for the free space, which a test gives for one question after the other.
class ScriptedSpace final : public Folders {
public:
    explicit ScriptedSpace(Folders& real) : real_(real) {}

    [[nodiscard]] std::unique_ptr<Folder> open(const std::filesystem::path& path) const override {
        return real_.open(path);
    }

    [[nodiscard]] bool exists(const std::filesystem::path& path) const override { return real_.exists(path); }

    [[nodiscard]] bool isWritable(const std::filesystem::path& path) const override {
        return real_.isWritable(path);
    }

    [[nodiscard]] std::optional<std::int64_t>
    availableSpace(const std::filesystem::path& path) const override {
        asked.push_back(path);
        return answers.at(asked.size() - 1);
    }

    std::vector<std::optional<std::int64_t>> answers;
    mutable std::vector<std::filesystem::path> asked;

private:
    Folders& real_;
};

class InstallFailureTest : public testing::Test {
protected:
    void expectError(const std::string& text) {
        expectInstallerError(text, [this] { static_cast<void>(scene_.install()); });
    }

    template <typename Code>
    void expectSystemError(Code code) {
        expectPlatformError(code, [this] { static_cast<void>(scene_.install()); });
    }

    // The destination holds that version, or nothing, and nothing else; the image is detached.
    void expectAsBefore(const std::string& version = "1.0.0") const {
        EXPECT_EQ(treeAt(scene_.target), version.empty() ? Testing::Tree() : InstallScene::genuine(version));
        EXPECT_THAT(scene_.stagingDirectories(), IsEmpty());
        EXPECT_FALSE(scene_.isAttached());
        scene_.expectOutsideUntouched();
    }

    void failWhen(const std::string& effect, int status) {
        scene_.failure = [effect, status](const std::string& happening) {
            return happening.starts_with(effect) ? status : 0;
        };
    }

    InstallScene scene_;
    Testing::TestPlatform& test_ = scene_.test;
};

TEST_F(InstallFailureTest, FirstOfSeveralFailuresIsTheOneReported) {
    // Everything is wrong; one after the other is mended.
    ScriptedSpace volumes(test_.folders);
    const Platform platform{test_.http,          test_.files,       test_.digests,   test_.clock,
                            test_.system,        test_.log,         volumes,         test_.processes,
                            test_.propertyLists, test_.codeSigning, test_.workspace, test_.languages,
                            test_.resources};
    const auto expectThisError = [&](const std::string& text) {
        volumes.asked.clear();
        expectInstallerError(text, [&] {
            Installation(scene_.config, platform)
                .install(scene_.image, scene_.artifact, scene_.directory,
                         [this](InstallerMessage message) { scene_.messages.push_back(message); });
        });
    };
    const auto missing = scene_.directory;
    scene_.directory = test_.home / "missing";
    test_.workspace.running = {InstallScene::bundleID};
    volumes.answers = {0, 0};
    InstallScene::make(scene_.target, "1.0.0");
    writeFile(scene_.target / "Contents/Info.plist", infoPropertyList("com.example.other", "1.0.0"));
    writeFile(scene_.image, "another image");
    std::filesystem::create_directory(test_.home / "real");
    std::filesystem::rename(scene_.source, test_.home / "real/Kavio.app");
    std::filesystem::create_symlink(test_.home / "real/Kavio.app", scene_.source);
    writeFile(test_.home / "real/Kavio.app/Contents/MacOS/Kavio", "no executable");
    scene_.attachOutput = "<plist version=\"1.0\"><dict/></plist>";
    bool signaturesHold = false;
    test_.codeSigning.isValid = [&](const std::filesystem::path&, const std::string&) {
        return signaturesHold;
    };

    expectThisError(running);
    test_.workspace.running.clear();
    expectThisError("Applications is not writable. Check folder permissions or use the full DMG");
    scene_.directory = missing;
    expectThisError("Not enough disk space");
    volumes.answers = {std::nullopt};
    expectThisError("Cannot read available disk space");
    volumes.answers = {2 * scene_.artifact.installedSizeBytes + margin, 0};
    expectThisError("An unrelated application occupies Kavio.app");
    writeFile(scene_.target / "Contents/Info.plist", infoPropertyList(InstallScene::bundleID, "1.0"));
    expectThisError("Invalid version");
    writeFile(scene_.target / "Contents/Info.plist", infoPropertyList(InstallScene::bundleID, "1.0.0"));
    EXPECT_THAT(scene_.messages, IsEmpty());
    expectThisError("Package changed before installation");
    EXPECT_THAT(scene_.messages, ElementsAre(InstallerMessage::verifying));
    EXPECT_THAT(test_.processes.calls, IsEmpty());
    writeFile(scene_.image, "an image");
    expectThisError("Cannot mount application package");
    EXPECT_TRUE(scene_.isAttached()); // nobody knows where
    std::filesystem::remove_all(scene_.mountPoint);
    scene_.attachOutput =
        "<plist version=\"1.0\"><dict><key>system-entities</key><array><dict><key>mount-point"
        "</key><string>" +
        scene_.mountPoint.string() + "</string></dict></array></dict></plist>";
    expectThisError("Unexpected application link");
    std::filesystem::remove(scene_.source);
    std::filesystem::rename(test_.home / "real/Kavio.app", scene_.source);
    expectThisError("Application signature or publisher mismatch");
    signaturesHold = true;
    expectThisError("Not enough disk space");
    EXPECT_THAT(volumes.asked, ElementsAre(scene_.directory, scene_.directory));
    volumes.answers.back() = std::nullopt;
    expectThisError("Cannot read available disk space");
    volumes.answers.back() = std::numeric_limits<std::int64_t>::max();
    expectThisError("Unsupported Mach-O format");
    EXPECT_FALSE(scene_.isAttached());
    EXPECT_THAT(scene_.stagingDirectories(), IsEmpty());
    EXPECT_EQ(scene_.messages.back(), InstallerMessage::verifying);
}

TEST_F(InstallFailureTest, BothSpaceChecksAreExactToTheByte) {
    const std::int64_t measured = [this] {
        std::int64_t total = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(scene_.source)) {
            total +=
                entry.is_symlink() || !entry.is_regular_file() ? 0 : std::ssize(Testing::readFile(entry));
        }
        return total;
    }();
    scene_.artifact.installedSizeBytes = 100'000;
    const std::int64_t first = 200'000 + margin;
    const std::int64_t second = measured + margin;
    ScriptedSpace volumes(test_.folders);
    const Platform platform{test_.http,          test_.files,       test_.digests,   test_.clock,
                            test_.system,        test_.log,         volumes,         test_.processes,
                            test_.propertyLists, test_.codeSigning, test_.workspace, test_.languages,
                            test_.resources};
    const auto install = [&] {
        volumes.asked.clear();
        Installation(scene_.config, platform)
            .install(scene_.image, scene_.artifact, scene_.directory, [](InstallerMessage) {});
    };
    volumes.answers = {first - 1};
    expectInstallerError("Not enough disk space", install);
    volumes.answers = {first, second - 1};
    expectInstallerError("Not enough disk space", install);
    expectAsBefore("");
    volumes.answers = {first, second};
    install();
    EXPECT_TRUE(scene_.isInstalled("2.0.0"));
}

TEST_F(InstallFailureTest, SpaceThatOverflowsIsADefect) {
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    for (const std::int64_t size : {largest / 2 + 1, (largest - margin) / 2 + 1}) {
        scene_.artifact.installedSizeBytes = size;
        EXPECT_EXIT(static_cast<void>(scene_.install()), testing::KilledBySignal(SIGABRT), "");
    }
    scene_.artifact.installedSizeBytes = (largest - margin) / 2;
    expectError("Not enough disk space");
}

TEST_F(InstallFailureTest, ImageIsHeldAgainstTheExactHash) {
    scene_.artifact.sha512[0] = scene_.artifact.sha512[0] == '0' ? '1' : '0';
    expectError("Package changed before installation");
    scene_.artifact.sha512.clear();
    expectError("Package changed before installation");
    std::filesystem::remove(scene_.image);
    expectSystemError(FileErrorCode::readNoSuchFile);
    EXPECT_THAT(test_.processes.calls, IsEmpty());
    expectAsBefore("");
}

TEST_F(InstallFailureTest, ImageWithoutTheApplicationIsTheErrorOfTheSystem) {
    std::filesystem::remove_all(scene_.source);
    expectSystemError(FileErrorCode::readNoSuchFile);
    expectAsBefore("");
}

TEST_F(InstallFailureTest, FolderThatCannotBeOpenedCannotBeInspected) {
    test_.files.failAt("Folders.open", 1, FileErrorCode::readNoPermission);
    expectError("Cannot inspect application size");
    test_.files.failAt("Directory.names", 1, FileErrorCode::readUnknown);
    expectSystemError(FileErrorCode::readUnknown);
    expectAsBefore("");
}

TEST_F(InstallFailureTest, ExecutableMustHaveTheArchitecture) {
    test_.codeSigning.isValid = nullptr;
    const auto executable = scene_.source / "Contents/MacOS/Kavio";

    const struct {
        std::string content;
        const char* error;
    } rows[] = {
        {Testing::universalHeader({0x01000007}), "Application architecture mismatch"},
        {Testing::universalHeader({0x00000007}), "Application architecture mismatch"},
        {Testing::universalHeader({}), "Invalid Mach-O architecture count"},
        {"", "Invalid Mach-O header"},
        {"#!/bin/sh\n", "Unsupported Mach-O format"},
    };

    for (const auto& row : rows) {
        writeFile(executable, row.content);
        expectError(row.error);
    }
    std::filesystem::remove(executable);
    expectSystemError(FileErrorCode::readNoSuchFile);
    std::filesystem::create_directory(executable);
    expectSystemError(FileErrorCode::notRegularFile);
    std::filesystem::remove(executable);
    writeFile(executable, Testing::universalHeader({0x0100000C}));
    test_.files.failAt("FileHandle.close", 2, FileErrorCode::readUnknown); // the first is the image's
    // An earlier failure has counted none of them.
    expectSystemError(FileErrorCode::readUnknown);
    expectAsBefore("");
    static_cast<void>(scene_.install());
    scene_.artifact.arch = "x64";
    scene_.artifact.appVersion = "2.0.1";
    expectError("Application version mismatch");
}

TEST_F(InstallFailureTest, FailureToAttachLeavesNothingToDetach) {
    for (const int status : {1, 9}) {
        failWhen("hdiutil attach", status);
        expectError("System verification or installation failed (hdiutil: " + std::to_string(status) + ")");
    }
    EXPECT_THAT(scene_.effects, testing::Not(testing::Contains(testing::StartsWith("hdiutil detach"))));
    expectAsBefore("");
}

TEST_F(InstallFailureTest, FailureToDetachChangesNothing) {
    failWhen("hdiutil detach", 16);
    EXPECT_EQ(scene_.install(), scene_.target);
    EXPECT_TRUE(scene_.isInstalled("2.0.0"));
    const std::string line =
        "Installer: unable to detach image: System verification or installation failed (hdiutil: 16)";
    EXPECT_THAT(test_.log.lines(), ElementsAre(line));

    scene_.artifact.appVersion = "3.0.0"; // but the image still holds the other one
    expectError("Application version mismatch");
    EXPECT_THAT(test_.log.lines(), ElementsAre(line, line));
}

struct LateFailure {
    const char* effect; // that fails
    int status;
    const char* error;
};

constexpr LateFailure lateFailures[] = {
    {"ditto", 1, "System verification or installation failed (ditto: 1)"},
    {"ditto", 9, "System verification or installation failed (ditto: 9)"},
    {"validity D/.kavio-install-UUID/Kavio.app", 1, "Application signature or publisher mismatch"},
    {"spctl --assess --type execute D/.kavio-install-UUID/Kavio.app", 3,
     "System verification or installation failed (spctl: 3)"},
    {"validity D/Kavio.app [installed]", 1, "Application signature or publisher mismatch"},
    {"spctl --assess --type execute D/Kavio.app", 9, "System verification or installation failed (spctl: 9)"},
};

TEST_F(InstallFailureTest, UpgradeThatFailsIsRolledBackAndThenDetached) {
    for (const LateFailure& row : lateFailures) {
        SCOPED_TRACE(row.effect);
        InstallScene scene;
        InstallScene::make(scene.target, "1.0.0");
        scene.failure = [&row](const std::string& effect) {
            return effect.starts_with(row.effect) ? row.status : 0;
        };
        expectInstallerError(row.error, [&] { static_cast<void>(scene.install()); });
        EXPECT_TRUE(scene.isInstalled("1.0.0"));
        EXPECT_THAT(scene.stagingDirectories(), IsEmpty());
        EXPECT_FALSE(scene.isAttached());
        EXPECT_EQ(scene.effects.back(), "hdiutil detach M");
        EXPECT_EQ(scene.effects.at(scene.effects.size() - 2), "Folder.removeTree .kavio-removed-UUID");
        scene.expectOutsideUntouched();
    }
}

// Only the final verification comes too late for an application that replaced none.
TEST_F(InstallFailureTest, FirstInstallationThatFailsInTheEndLeavesTheNewApplication) {
    for (const LateFailure& row : lateFailures) {
        SCOPED_TRACE(row.effect);
        InstallScene scene;
        scene.failure = [&row](const std::string& effect) {
            return effect.starts_with(row.effect) ? row.status : 0;
        };
        expectInstallerError(row.error, [&] { static_cast<void>(scene.install()); });
        const bool last = std::string_view(row.effect).find(" D/Kavio.app") != std::string_view::npos;
        EXPECT_EQ(treeAt(scene.target), last ? InstallScene::genuine("2.0.0") : Testing::Tree());
        EXPECT_THAT(scene.stagingDirectories(), IsEmpty());
        EXPECT_FALSE(scene.isAttached());
    }
}

// What failed, and all that the rollback does from there to its end.
TEST_F(InstallFailureTest, RollbacksHaveTheseEffectsInThisOrder) {
    const auto endOf = [](const InstallScene& scene, const std::string& effect) {
        const auto at = std::find_if(scene.effects.begin(), scene.effects.end(),
                                     [&](const std::string& seen) { return seen.starts_with(effect); });
        return std::vector<std::string>(at + 1, scene.effects.end());
    };
    const auto failingAt = [](InstallScene& scene, const std::string& effect) {
        InstallScene::make(scene.target, "1.0.0");
        scene.failure = [effect](const std::string& seen) { return seen.starts_with(effect) ? 1 : 0; };
        EXPECT_THROW(static_cast<void>(scene.install()), InstallerError);
    };
    {
        InstallScene scene;
        failingAt(scene, "ditto");
        EXPECT_THAT(endOf(scene, "ditto"),
                    ElementsAre("Directory.names", "Directory.names", "Folder.removeTree Kavio.app",
                                "Folder.move .kavio-install-UUID .kavio-removed-UUID [copying]",
                                "Folder.removeTree .kavio-removed-UUID", "hdiutil detach M"));
    }
    {
        InstallScene scene;
        failingAt(scene, "validity D/Kavio.app");
        EXPECT_THAT(endOf(scene, "validity D/Kavio.app"),
                    ElementsAre("Directory.names", "Directory.names",
                                "Folder.move Kavio.app refused.app [installed]",
                                "Folder.move previous.app Kavio.app [installed]", "Directory.names",
                                "Folder.removeTree refused.app",
                                "Folder.move .kavio-install-UUID .kavio-removed-UUID [installed]",
                                "Folder.removeTree .kavio-removed-UUID", "hdiutil detach M"));
    }
}

TEST_F(InstallFailureTest, ApplicationThatStartsMeanwhileIsNotTouched) {
    InstallScene::make(scene_.target, "1.0.0");
    scene_.before = [this](const std::string& effect) {
        if (effect.starts_with("ditto")) {
            test_.workspace.running = {InstallScene::bundleID};
        }
    };
    expectError(running);
    expectAsBefore();
    EXPECT_THAT(scene_.effects, testing::Not(testing::Contains(testing::HasSubstr("previous.app"))));
}

// One call fails, and what the rollback does about it.
TEST_F(InstallFailureTest, FileSystemErrorsPassThroughUnchanged) {
    const struct {
        const char* operation;
        int count;
        bool rolledBack;
    } rows[] = {
        {"Folder.createFolder", 1, true}, // nothing was made
        {"Folder.openFolder", 4, false},  // the three before are the image's
        {"Directory.replace", 1, false},  {"Directory.replace", 2, true}, {"Directory.replace", 3, true},
        {"Folder.move", 1, true},         {"Folder.move", 2, true},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.operation) + " " + std::to_string(row.count));
        InstallScene scene;
        InstallScene::make(scene.target, "1.0.0");
        scene.test.files.failAt(row.operation, row.count, FileErrorCode::writeOutOfSpace);
        expectPlatformError(FileErrorCode::writeOutOfSpace, [&] { static_cast<void>(scene.install()); });
        EXPECT_TRUE(scene.isInstalled("1.0.0"));
        EXPECT_FALSE(scene.isAttached());
        EXPECT_EQ(scene.stagingDirectories().size(), row.rolledBack ? 0U : 1U);
    }
}

TEST_F(InstallFailureTest, RollbackThatFailsLeavesAllToRecovery) {
    for (const char* operation : {"refused.app", "previous.app Kavio.app"}) {
        SCOPED_TRACE(operation);
        InstallScene scene;
        InstallScene::make(scene.target, "1.0.0");
        const int count = std::string_view(operation) == "refused.app" ? 3 : 4; // of the moves
        scene.failure = [](const std::string& effect) { return effect.starts_with("validity D/Kavio.app"); };
        scene.test.files.failAt("Folder.move", count, FileErrorCode::writeNoPermission);
        expectPlatformError(FileErrorCode::writeNoPermission, [&] { static_cast<void>(scene.install()); });
        ASSERT_EQ(scene.stagingDirectories().size(), 1U);
        EXPECT_EQ(treeAt(scene.stagingDirectories().front() / "previous.app"),
                  InstallScene::genuine("1.0.0"));
        EXPECT_EQ(scene.phaseOnDisk(), "installed");
        EXPECT_EQ(std::filesystem::exists(scene.target), count == 3);
        EXPECT_FALSE(scene.isAttached());
    }
}

TEST_F(InstallFailureTest, FailureToRemoveTheRemainsIsNotReported) {
    InstallScene::make(scene_.target, "1.0.0");
    failWhen("ditto", 1);
    test_.files.failAt("Folder.removeTree", 1, FileErrorCode::writeNoPermission);
    expectError("System verification or installation failed (ditto: 1)");
    EXPECT_TRUE(scene_.isInstalled("1.0.0"));
    EXPECT_EQ(scene_.stagingDirectories().size(), 1U);
    EXPECT_EQ(scene_.phaseOnDisk(), "copying");
    scene_.recover();
    expectAsBefore();
}

TEST_F(InstallFailureTest, ToolThatCannotBeStartedIsTheErrorOfTheSystem) {
    InstallScene::make(scene_.target, "1.0.0");
    test_.processes.tools.erase("/usr/bin/ditto");
    expectSystemError(ProcessErrorCode::noSuchExecutable);
    expectAsBefore();
}

} // namespace

} // namespace InstallerCore
