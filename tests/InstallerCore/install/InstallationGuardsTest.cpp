#include "InstallerCore/install/Installation.h"
#include "tests/InstallerCore/install/InstallScene.h"
#include "tests/support/Expect.h"

#include <gmock/gmock.h>

#include <limits>
#include <optional>
#include <string>

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

// Volumes of which a test says how much is free.
class FakeSpace final : public Folders {
public:
    [[nodiscard]] std::unique_ptr<Folder> open(const std::filesystem::path&) const override {
        return nullptr;
    }

    [[nodiscard]] bool exists(const std::filesystem::path&) const override { return true; }

    [[nodiscard]] bool isWritable(const std::filesystem::path&) const override { return true; }

    [[nodiscard]] std::optional<std::int64_t>
    availableSpace(const std::filesystem::path& path) const override {
        asked = path;
        return space;
    }

    std::optional<std::int64_t> space;
    mutable std::filesystem::path asked;
};

class InstallationGuardsTest : public testing::Test {
protected:
    [[nodiscard]] Installation installation() const {
        return Installation(scene_.config, scene_.test.platform);
    }

    [[nodiscard]] std::optional<std::filesystem::path>
    existing(const std::optional<std::string>& minimum = std::nullopt) const {
        return installation().existing(scene_.directory, minimum);
    }

    void expectExistingError(const char* text,
                             const std::optional<std::string>& minimum = std::nullopt) const {
        expectInstallerError(text, [&] { static_cast<void>(existing(minimum)); });
    }

    InstallScene scene_;
};

TEST(CheckSpaceTest, FreeSpaceIsComparedToTheByte) {
    Testing::TestPlatform test;
    FakeSpace volumes;
    const Platform platform{test.http,          test.files,       test.digests,   test.clock,
                            test.system,        test.log,         volumes,        test.processes,
                            test.propertyLists, test.codeSigning, test.workspace, test.languages,
                            test.resources};
    const Installation installation({}, platform);
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    for (const std::int64_t bytes : {std::int64_t{0}, std::int64_t{1}, std::int64_t{536'870'912}, largest}) {
        volumes.space = bytes;
        installation.checkSpace("/volume", bytes);
        if (bytes > 0) {
            volumes.space = bytes - 1;
            expectInstallerError("Not enough disk space", [&] { installation.checkSpace("/volume", bytes); });
        }
    }
    EXPECT_EQ(volumes.asked, "/volume");
    volumes.space = std::nullopt;
    expectInstallerError("Cannot read available disk space", [&] { installation.checkSpace("/volume", 0); });
}

TEST_F(InstallationGuardsTest, SpaceThatCannotBeAskedForIsTheErrorOfTheSystem) {
    expectPlatformError(FileErrorCode::readNoSuchFile,
                        [this] { installation().checkSpace(scene_.directory / "missing", 0); });
}

TEST_F(InstallationGuardsTest, RunningApplicationIsFoundByItsIdentifier) {
    scene_.test.workspace.running = {"com.example.kavio.helper", "com.example.Kavio"};
    installation().notRunning();
    scene_.test.workspace.running = {InstallScene::bundleID};
    expectInstallerError(
        "Close Kavio after saving your work, then retry. Recordings will not be interrupted.",
        [this] { installation().notRunning(); });
}

TEST_F(InstallationGuardsTest, NothingInstalledIsNothing) {
    EXPECT_EQ(existing(), std::nullopt);
    EXPECT_EQ(installation().existing(scene_.directory / "missing", "1.0.0"), std::nullopt);
    std::filesystem::create_symlink("nowhere", scene_.target);
    EXPECT_EQ(existing(), std::nullopt);
}

TEST_F(InstallationGuardsTest, WholeApplicationIsReturned) {
    InstallScene::make(scene_.target, "2.0.0");
    for (const auto& minimum : {std::optional<std::string>(), std::optional<std::string>("2.0.0"),
                                std::optional<std::string>("1.9.9")}) {
        EXPECT_EQ(existing(minimum), scene_.target);
    }
    EXPECT_TRUE(scene_.isInstalled("2.0.0"));
}

TEST_F(InstallationGuardsTest, ApplicationMayBeBehindALink) {
    InstallScene::make(scene_.directory / "elsewhere", "2.0.0");
    std::filesystem::create_symlink("elsewhere", scene_.target);
    EXPECT_EQ(existing("2.0.0"), scene_.target);
}

TEST_F(InstallationGuardsTest, OlderApplicationIsNothingAndNotVerified) {
    InstallScene::make(scene_.target, "2.0.0");
    EXPECT_EQ(existing("2.0.1"), std::nullopt);
    EXPECT_EQ(existing("10.0.0"), std::nullopt);
    EXPECT_THAT(scene_.test.codeSigning.calls(), IsEmpty());
    EXPECT_THAT(scene_.test.processes.calls, IsEmpty());
}

TEST_F(InstallationGuardsTest, UnrelatedApplicationIsRefusedBeforeItsVersionIsRead) {
    InstallScene::make(scene_.target, "2.0.0");
    writeFile(scene_.target / "Contents/Info.plist", infoPropertyList("com.example.other", "x"));
    expectExistingError("An unrelated application occupies Kavio.app", "2.0.0");
    writeFile(scene_.target / "Contents/Info.plist", infoPropertyList(InstallScene::bundleID, "2.0"));
    expectExistingError("Invalid version", "2.0.0");
    writeFile(scene_.target / "Contents/Info.plist", infoPropertyList(InstallScene::bundleID, "2.0.0"));
    expectExistingError("Invalid version", "2.0");
}

TEST_F(InstallationGuardsTest, ApplicationThatDoesNotVerifyIsAnError) {
    InstallScene::make(scene_.target, "2.0.0");
    writeFile(scene_.target / "added", "");
    expectExistingError("Application signature or publisher mismatch", "2.0.0");
    std::filesystem::remove(scene_.target / "added");
    scene_.failure = [](const std::string& effect) { return effect.starts_with("spctl") ? 3 : 0; };
    expectExistingError("System verification or installation failed (spctl: 3)");
}

// Without a minimum it is held against the version that it says itself, whatever that looks like.
TEST_F(InstallationGuardsTest, VersionWithoutAMinimumMayHaveAnyForm) {
    InstallScene::make(scene_.target, "2.0 beta");
    scene_.test.codeSigning.isValid = nullptr;
    EXPECT_EQ(existing(), scene_.target);
}

TEST_F(InstallationGuardsTest, WhatIsNoApplicationIsTheErrorOfTheSystem) {
    writeFile(scene_.target, "a file");
    expectPlatformError(FileErrorCode::readUnknown, [this] { static_cast<void>(existing()); });
    std::filesystem::remove(scene_.target);
    std::filesystem::create_directory(scene_.target);
    expectPlatformError(FileErrorCode::readNoSuchFile, [this] { static_cast<void>(existing()); });
    std::filesystem::create_directory(scene_.target / "Contents");
    writeFile(scene_.target / "Contents/Info.plist", "<plist version=\"1.0\"><dict/></plist>");
    expectExistingError("Missing application identity or version");
}

} // namespace

} // namespace InstallerCore
