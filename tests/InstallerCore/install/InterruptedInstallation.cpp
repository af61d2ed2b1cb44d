#include "tests/InstallerCore/install/InterruptedInstallation.h"

#include "tests/support/EnvironmentVariable.h"
#include "tests/support/Expect.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

namespace InstallerCore::Testing {

namespace {

constexpr const char* upgradeJournal = R"({"target":"Kavio.app","phase":"replacing","version":"2.0.0"})";
constexpr const char* copyJournal = R"({"target":"Kavio.app","phase":"copying","version":"2.0.0"})";

void install(InstallScene& scene) {
    static_cast<void>(scene.install());
}

void installAndFail(InstallScene& scene) {
    scene.failure = [](const std::string& effect) {
        return effect.starts_with("validity D/Kavio.app") ? 1 : 0;
    };
    try {
        install(scene);
    } catch (const InstallerError& error) {
        if (error.errorDescription() != "Application signature or publisher mismatch") {
            throw;
        }
    }
}

void recover(InstallScene& scene) {
    scene.recover();
}

void haveOlder(InstallScene& scene) {
    InstallScene::make(scene.target, "1.0.0");
}

std::string versionAt(const std::filesystem::path& application) {
    const Tree tree = treeAt(application);
    for (const char* version : {"1.0.0", "2.0.0"}) {
        if (tree == InstallScene::genuine(version)) {
            return version;
        }
    }
    return tree.empty() ? "" : "incomplete";
}

} // namespace

const std::vector<Scenario>& allScenarios() {
    static const std::vector<Scenario> scenarios = {
        {"first installation", [](InstallScene&) {}, install, false},
        {"upgrade", haveOlder, install, true},
        {"upgrade that is rolled back", haveOlder, installAndFail, true},
        {"recovery of a moved application", [](InstallScene& scene) { scene.leave(upgradeJournal, "1.0.0"); },
         recover, true},
        {"recovery of a copy",
         [](InstallScene& scene) {
             haveOlder(scene);
             InstallScene::make(scene.leave(copyJournal) / "Kavio.app", "2.0.0");
         },
         recover, true},
        {"recovery after the first installation",
         [](InstallScene& scene) {
             scene.leave(upgradeJournal);
             InstallScene::make(scene.target, "2.0.0");
         },
         recover, false},
    };
    return scenarios;
}

std::unique_ptr<InstallScene> arranged(const Scenario& scenario) {
    // In memory where there is a place for that: each run waits for the disk many times.
    const char* const memory = "/dev/shm";
    const bool hasMemory = std::filesystem::is_directory(memory) && ::access(memory, W_OK) == 0;
    const EnvironmentVariable place("TMPDIR",
                                    hasMemory ? memory : std::filesystem::temp_directory_path().string());
    auto scene = std::make_unique<InstallScene>();
    scenario.arrange(*scene);
    return scene;
}

int callsOf(const Scenario& scenario) {
    const auto scene = arranged(scenario);
    scenario.run(*scene);
    return static_cast<int>(scene->effects.size());
}

void expectNothingLost(const InstallScene& scene, const Scenario& scenario) {
    scene.expectOutsideUntouched();
    if (!scenario.hasPrevious) {
        return;
    }
    const auto staging = scene.stagingDirectories();
    const std::string version = versionAt(scene.target);
    const bool backedUp = std::any_of(staging.begin(), staging.end(), [](const auto& directory) {
        return versionAt(directory / "previous.app") == "1.0.0";
    });
    EXPECT_TRUE(version == "1.0.0" || backedUp) << "target: " << version;
    EXPECT_NE(version, "incomplete");
}

NextStart nextStart(const InstallScene& scene) {
    const auto staging = scene.stagingDirectories();
    if (staging.empty()) {
        return NextStart::complete;
    }
    EXPECT_EQ(staging.size(), 1U);
    if (!std::filesystem::exists(staging.front() / "transaction.json")) {
        return NextStart::missingJournal;
    }
    const bool promised = scene.phaseOnDisk() == "replacing" || scene.phaseOnDisk() == "installed";
    return promised && versionAt(scene.target) == "1.0.0" ? NextStart::otherVersion : NextStart::complete;
}

NextStart expectNextStart(InstallScene& scene) {
    const NextStart expected = nextStart(scene);
    const std::string version = versionAt(scene.target);
    scene.before = nullptr;
    scene.failure = nullptr;
    if (expected == NextStart::complete) {
        EXPECT_NO_THROW(scene.recover());
        scene.messages.clear();
        EXPECT_NO_THROW(install(scene));
        EXPECT_EQ(versionAt(scene.target), "2.0.0");
        // What a killed run has mounted stays when the next one has no need of the image.
        EXPECT_TRUE(!scene.isAttached() || scene.messages.empty());
    } else {
        for (int start = 0; start < 2; ++start) {
            if (expected == NextStart::missingJournal) {
                expectPlatformError(FileErrorCode::readNoSuchFile, [&scene] { scene.recover(); });
            } else {
                expectInstallerError("Application version mismatch", [&scene] { scene.recover(); });
            }
        }
        EXPECT_EQ(scene.stagingDirectories().size(), 1U);
        EXPECT_EQ(versionAt(scene.target), version);
    }
    scene.expectOutsideUntouched();
    return expected;
}

} // namespace InstallerCore::Testing
