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
using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::InstallScene;
using testing::IsEmpty;
using Testing::readFile;
using Testing::Tree;
using Testing::treeAt;
using Testing::writeFile;

using Effects = std::vector<std::string>;

Effects operator+(Effects first, const Effects& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Effects verification(const std::string& application, const std::string& phase) {
    const std::string open = "Files.openForReading " + application + "/Contents/Info.plist";
    return {"validity " + application + " [" + phase + "]",
            open,
            "FileHandle.read",
            "FileHandle.read",
            open,
            "FileHandle.read",
            "FileHandle.read",
            "spctl --assess --type execute " + application};
}

class InstallTest : public testing::Test {
protected:
    // The list without the walk through the application in the image, whose order the file system decides.
    [[nodiscard]] Effects effectsWithoutWalk() const {
        Effects kept;
        bool walking = false;
        for (const std::string& effect : scene_.effects) {
            walking = walking && !effect.starts_with("Folders.availableSpace");
            if (!walking) {
                kept.push_back(effect);
            }
            walking = walking || effect == "Folders.open M/Kavio.app";
        }
        return kept;
    }

    void expectError(const char* text) {
        expectInstallerError(text, [this] { static_cast<void>(scene_.install()); });
    }

    void expectNothingDone() const {
        EXPECT_THAT(scene_.stagingDirectories(), IsEmpty());
        EXPECT_FALSE(scene_.isAttached());
        scene_.expectOutsideUntouched();
    }

    [[nodiscard]] static Effects untilCopied() {
        return Effects{"hdiutil attach -readonly -nobrowse -plist H/Kavio.dmg",
                       "Files.attributes M/Kavio.app"} +
               verification("M/Kavio.app", "none") +
               Effects{"Folders.open M/Kavio.app",
                       "Folders.availableSpace D",
                       "Files.openForReading M/Kavio.app/Contents/MacOS/Kavio",
                       "FileHandle.read",
                       "FileHandle.read",
                       "FileHandle.close",
                       "Folders.open D",
                       "Folder.createFolder .kavio-install-UUID",
                       "Folder.openFolder .kavio-install-UUID",
                       "Directory.replace transaction.json",
                       "ditto --rsrc --extattr --acl M/Kavio.app D/.kavio-install-UUID/Kavio.app [copying]"} +
               verification("D/.kavio-install-UUID/Kavio.app", "copying") +
               Effects{"running?", "Directory.replace transaction.json", "Folder.exists Kavio.app"};
    }

    InstallScene scene_;
};

const Effects start = {"running?", "Folders.isWritable D", "Folders.availableSpace D",
                       "Folders.exists D/Kavio.app"};
const Effects hashing = {"Files.openForReading H/Kavio.dmg", "FileHandle.read", "FileHandle.read",
                         "FileHandle.close"};
const Effects reading = {"Files.openForReading D/Kavio.app/Contents/Info.plist", "FileHandle.read",
                         "FileHandle.read"};
const Effects detaching = {"hdiutil detach M"};

TEST_F(InstallTest, FirstInstallationPutsTheApplicationInPlace) {
    EXPECT_EQ(scene_.install(), scene_.target);
    EXPECT_TRUE(scene_.isInstalled("2.0.0"));
    EXPECT_THAT(scene_.messages, ElementsAre(InstallerMessage::verifying, InstallerMessage::installing));
    ASSERT_EQ(scene_.stagingDirectories().size(), 1U);
    EXPECT_EQ(
        treeAt(scene_.stagingDirectories().front()),
        (Tree{{"transaction.json", R"(file {"target":"Kavio.app","phase":"installed","version":"2.0.0"})"}}));
    EXPECT_EQ(Testing::permissionsOf(scene_.stagingDirectories().front()), 0700U);
    EXPECT_FALSE(scene_.isAttached());
    scene_.expectOutsideUntouched();
    EXPECT_THAT(scene_.test.log.lines(), IsEmpty());
    EXPECT_THAT(scene_.events(), IsEmpty());
}

TEST_F(InstallTest, UpgradeKeepsThePreviousApplication) {
    InstallScene::make(scene_.target, "1.0.0");
    EXPECT_EQ(scene_.install(), scene_.target);
    EXPECT_TRUE(scene_.isInstalled("2.0.0"));
    ASSERT_EQ(scene_.stagingDirectories().size(), 1U);
    const auto staging = scene_.stagingDirectories().front();
    EXPECT_EQ(treeAt(staging / "previous.app"), InstallScene::genuine("1.0.0"));
    EXPECT_EQ(readFile(staging / "transaction.json"),
              R"({"target":"Kavio.app","phase":"installed","version":"2.0.0"})");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(staging), {}), 2);
    EXPECT_FALSE(scene_.isAttached());
    scene_.expectOutsideUntouched();
}

TEST_F(InstallTest, FirstInstallationHasTheseEffectsInThisOrder) {
    static_cast<void>(scene_.install());
    const Effects expected =
        start + hashing + untilCopied() +
        Effects{"Folder.move Kavio.app Kavio.app [replacing]", "Directory.replace transaction.json"} +
        verification("D/Kavio.app", "installed") + detaching;
    EXPECT_THAT(effectsWithoutWalk(), ElementsAreArray(expected));
}

TEST_F(InstallTest, UpgradeHasTheseEffectsInThisOrder) {
    InstallScene::make(scene_.target, "1.0.0");
    static_cast<void>(scene_.install());
    const Effects expected =
        start + reading + hashing + untilCopied() +
        Effects{"Folder.move Kavio.app previous.app [replacing]",
                "Folder.move Kavio.app Kavio.app [replacing]", "Directory.replace transaction.json"} +
        verification("D/Kavio.app", "installed") + detaching;
    EXPECT_THAT(effectsWithoutWalk(), ElementsAreArray(expected));
}

TEST_F(InstallTest, ToolsGetExactlyTheseArguments) {
    static_cast<void>(scene_.install());
    const std::string mount = scene_.mountPoint.string();
    const std::string copy = scene_.stagingDirectories().front() / "Kavio.app";
    using Call = Testing::FakeProcesses::Call;
    const auto assess = [](const std::string& path) {
        return Call{.executable = "/usr/sbin/spctl", .arguments = {"--assess", "--type", "execute", path}};
    };
    EXPECT_THAT(
        scene_.test.processes.calls,
        ElementsAre(Call{.executable = "/usr/bin/hdiutil",
                         .arguments = {"attach", "-readonly", "-nobrowse", "-plist", scene_.image.string()}},
                    assess(mount + "/Kavio.app"),
                    Call{.executable = "/usr/bin/ditto",
                         .arguments = {"--rsrc", "--extattr", "--acl", mount + "/Kavio.app", copy}},
                    assess(copy), assess(scene_.target.string()),
                    Call{.executable = "/usr/bin/hdiutil", .arguments = {"detach", mount}}));
}

TEST_F(InstallTest, ProgressIsReportedBetweenItsSteps) {
    Effects order;
    scene_.before = [&order](const std::string& effect) { order.push_back(effect); };
    Installation(scene_.config, scene_.test.platform)
        .install(scene_.image, scene_.artifact, scene_.directory, [&order](InstallerMessage message) {
            order.push_back(message == InstallerMessage::verifying ? "verifying" : "installing");
        });
    const auto around = [&order](const std::string& message) {
        const auto at = std::find(order.begin(), order.end(), message);
        return Effects{*(at - 1), *(at + 1)};
    };
    EXPECT_THAT(around("verifying"),
                ElementsAre("Folders.exists D/Kavio.app", "Files.openForReading H/Kavio.dmg"));
    EXPECT_THAT(around("installing"),
                ElementsAre("Directory.replace transaction.json", testing::StartsWith("ditto ")));
}

TEST_F(InstallTest, CurrentApplicationEndsItAtOnce) {
    for (const char* version : {"2.0.0", "3.0.0"}) {
        InstallScene scene;
        InstallScene::make(scene.target, version);
        std::filesystem::remove(scene.image); // nobody looks at it
        EXPECT_EQ(scene.install(), scene.target);
        EXPECT_THAT(scene.effects, ElementsAreArray(start + reading + verification("D/Kavio.app", "none")));
        EXPECT_THAT(scene.messages, IsEmpty());
        EXPECT_THAT(scene.stagingDirectories(), IsEmpty());
        EXPECT_TRUE(scene.isInstalled(version));
    }
}

TEST_F(InstallTest, CurrentApplicationThatDoesNotVerifyIsNotReplaced) {
    InstallScene::make(scene_.target, "3.0.0");
    writeFile(scene_.target / "added", "");
    expectError("Application signature or publisher mismatch");
    EXPECT_THAT(scene_.messages, IsEmpty());
    EXPECT_TRUE(std::filesystem::exists(scene_.target / "added"));
    expectNothingDone();
}

TEST_F(InstallTest, OlderApplicationNeedNotVerify) {
    InstallScene::make(scene_.target, "1.0.0");
    writeFile(scene_.target / "added", "");
    static_cast<void>(scene_.install());
    EXPECT_TRUE(scene_.isInstalled("2.0.0"));
    EXPECT_TRUE(std::filesystem::exists(scene_.stagingDirectories().front() / "previous.app/added"));
}

TEST_F(InstallTest, VersionsAreComparedByNumberButVerifiedAsText) {
    InstallScene::make(scene_.target, "1.0.0");
    writeFile(scene_.target / "Contents/Info.plist",
              Testing::infoPropertyList(InstallScene::bundleID, "02.0.0"));
    scene_.test.codeSigning.isValid = nullptr;
    EXPECT_EQ(scene_.install(), scene_.target); // it is current
    EXPECT_THAT(scene_.messages, IsEmpty());
    scene_.artifact.appVersion = "02.0.1";
    expectError("Application version mismatch"); // the image says 2.0.0
}

TEST_F(InstallTest, LinkAsTargetIsMovedAsideItself) {
    InstallScene::make(scene_.directory / "elsewhere", "1.0.0");
    std::filesystem::create_symlink("elsewhere", scene_.target);
    static_cast<void>(scene_.install());
    EXPECT_FALSE(std::filesystem::is_symlink(scene_.target));
    EXPECT_TRUE(scene_.isInstalled("2.0.0"));
    EXPECT_EQ(std::filesystem::read_symlink(scene_.stagingDirectories().front() / "previous.app"),
              "elsewhere");
    EXPECT_EQ(treeAt(scene_.directory / "elsewhere"), InstallScene::genuine("1.0.0"));
}

// It does not exist, as far as a look through it tells, and yet its name is taken.
TEST_F(InstallTest, LinkToNothingAsTargetIsNotReplaced) {
    std::filesystem::create_symlink("nowhere", scene_.target);
    expectPlatformError(FileErrorCode::writeFileExists, [this] { static_cast<void>(scene_.install()); });
    EXPECT_EQ(std::filesystem::read_symlink(scene_.target), "nowhere");
    expectNothingDone();
}

TEST_F(InstallTest, WhatIsNoApplicationAsTargetIsLeftAlone) {
    writeFile(scene_.target, "a file");
    expectPlatformError(FileErrorCode::readUnknown, [this] { static_cast<void>(scene_.install()); });
    EXPECT_EQ(readFile(scene_.target), "a file");
    std::filesystem::remove(scene_.target);
    std::filesystem::create_directory(scene_.target);
    expectPlatformError(FileErrorCode::readNoSuchFile, [this] { static_cast<void>(scene_.install()); });
    EXPECT_TRUE(std::filesystem::is_empty(scene_.target));
    expectNothingDone();
}

TEST_F(InstallTest, AnotherInstallationsRemainsAreNotLookedAt) {
    const auto old = scene_.leave("not even JSON", "1.0.0");
    static_cast<void>(scene_.install());
    EXPECT_EQ(readFile(old / "transaction.json"), "not even JSON");
    EXPECT_EQ(treeAt(old / "previous.app"), InstallScene::genuine("1.0.0"));
    EXPECT_EQ(scene_.stagingDirectories().size(), 2U);
}

TEST_F(InstallTest, OddNamesAreInstalledAsTheyAre) {
    scene_.test.codeSigning.isValid = nullptr;
    for (const char* name :
         {"a b", "\"'$(x)`", "line\nfeed", "\xFF\xFE", "-rf", "...", "K\xC3\xA4vio", "\\"}) {
        writeFile(scene_.source / name, name);
    }
    static_cast<void>(scene_.install());
    EXPECT_EQ(treeAt(scene_.target), treeAt(scene_.source));
}

TEST_F(InstallTest, ThousandsOfFilesAreInstalled) {
    scene_.test.codeSigning.isValid = nullptr;
    for (int index = 0; index < 2000; ++index) {
        writeFile(scene_.source / std::to_string(index), "x");
    }
    static_cast<void>(scene_.install());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(scene_.target), {}), 2001);
}

// The destination may be given through a link, and with odd names on the way.
TEST_F(InstallTest, DestinationMayBeBehindALink) {
    const auto real = scene_.directory;
    scene_.directory = scene_.test.home / "an \"odd\" link";
    std::filesystem::create_directory_symlink(real, scene_.directory);
    EXPECT_EQ(scene_.install(), scene_.directory / "Kavio.app");
    EXPECT_TRUE(scene_.isInstalled("2.0.0"));
}

} // namespace

} // namespace InstallerCore
