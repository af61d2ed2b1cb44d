#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/PlatformError.h"
#include "tests/InstallerCore/install/InterruptedInstallation.h"
#include "tests/support/Expect.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

namespace fs = std::filesystem;
using Testing::InstallScene;
using Testing::Scenario;
using Testing::Tree;
using Testing::treeAt;
using Testing::writeFile;

// What another process takes away, by its path; absent when that cannot be there yet.
struct Place {
    const char* name;
    std::function<std::optional<fs::path>(const InstallScene&)> find;
};

std::optional<fs::path> inStaging(const InstallScene& scene, const char* name) {
    const auto staging = scene.stagingDirectories();
    if (staging.empty() || !fs::is_directory(fs::symlink_status(staging.front()))) {
        return std::nullopt;
    }
    return *name == '\0' ? staging.front() : staging.front() / name;
}

const Place places[] = {
    {"image", [](const InstallScene& scene) { return std::optional(scene.image); }},
    {"target", [](const InstallScene& scene) { return std::optional(scene.target); }},
    {"staging directory", [](const InstallScene& scene) { return inStaging(scene, ""); }},
    {"journal", [](const InstallScene& scene) { return inStaging(scene, "transaction.json"); }},
    {"copy", [](const InstallScene& scene) { return inStaging(scene, "Kavio.app"); }},
    {"backup", [](const InstallScene& scene) { return inStaging(scene, "previous.app"); }},
    // Where the path leads when the staging directory is made, there is the destination.
    {"destination",
     [](const InstallScene& scene) {
         return inStaging(scene, "") ? std::optional(scene.directory) : std::nullopt;
     }},
};

// What it puts there instead.
struct Plant {
    const char* name;
    std::function<void(const InstallScene&, const fs::path&)> put;
};

const Plant plants[] = {
    {"nothing", [](const InstallScene&, const fs::path&) {}},
    {"link to a folder outside",
     [](const InstallScene& scene, const fs::path& place) {
         fs::create_symlink(scene.outside / "folder", place);
     }},
    {"link to a file outside",
     [](const InstallScene& scene, const fs::path& place) {
         fs::create_symlink(scene.outside / "precious", place);
     }},
    {"file", [](const InstallScene&, const fs::path& place) { writeFile(place, "a file"); }},
    {"directory",
     [](const InstallScene& scene, const fs::path& place) {
         fs::create_directory(place);
         writeFile(place / "file", "a file");
         fs::create_symlink(scene.outside, place / "link");
     }},
};

void swap(const InstallScene& scene, const Place& place, const Plant& plant) {
    const auto path = place.find(scene);
    if (!path) {
        return;
    }
    if (fs::exists(fs::symlink_status(*path))) {
        fs::rename(*path, scene.test.home / "aside");
    }
    if (fs::is_directory(path->parent_path())) {
        plant.put(scene, *path);
    }
}

bool isSomewhere(const InstallScene& scene, const std::string& version) {
    for (auto entry = fs::recursive_directory_iterator(scene.test.home.path());
         entry != fs::recursive_directory_iterator(); ++entry) {
        if (entry->path() == scene.volume || entry->path() == scene.mountPoint) {
            entry.disable_recursion_pending();
        } else if (fs::is_directory(entry->symlink_status()) && fs::exists(entry->path() / "Contents") &&
                   treeAt(entry->path()) == InstallScene::genuine(version)) {
            return true;
        }
    }
    return false;
}

void race(const Scenario& scenario, int call, const Place& place, const Plant& plant) {
    const auto scene = arranged(scenario);
    const Tree outside = treeAt(scene->outside);
    int count = 0;
    scene->before = [&](const std::string&) {
        if (++count == call) {
            swap(*scene, place, plant);
        }
    };
    try {
        scenario.run(*scene);
    } catch (const InstallerError&) { // refused
    } catch (const PlatformError&) {
    }
    EXPECT_EQ(treeAt(scene->outside), outside);
    EXPECT_FALSE(scene->isAttached());
    EXPECT_TRUE(isSomewhere(*scene, "1.0.0"));
}

class InstallRaceTest : public testing::TestWithParam<const char*> {};

TEST_P(InstallRaceTest, WhatIsSwappedBeforeACallIsRefusedOrDoesNoHarm) {
    const auto& scenarios = Testing::allScenarios();
    const auto& scenario = *std::find_if(scenarios.begin(), scenarios.end(), [](const Scenario& candidate) {
        return candidate.name == std::string(GetParam());
    });
    const int calls = callsOf(scenario);
    ASSERT_GT(calls, 5);
    for (int call = 1; call <= calls; ++call) {
        for (const Place& place : places) {
            for (const Plant& plant : plants) {
                SCOPED_TRACE(std::string(place.name) + ", " + plant.name + ", call " + std::to_string(call));
                race(scenario, call, place, plant);
            }
        }
    }
}

std::string testName(const testing::TestParamInfo<const char*>& scenario) {
    std::string name = scenario.param;
    std::erase(name, ' ');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Scenarios, InstallRaceTest,
                         testing::Values("upgrade", "upgrade that is rolled back",
                                         "recovery of a moved application", "recovery of a copy"),
                         testName);

class InstallSwapTest : public testing::Test {
protected:
    // Replaces the copy by another application once it has been verified.
    void swapCopy() {
        scene_.before = [this](const std::string& effect) {
            if (effect == "Folder.exists Kavio.app") {
                const auto copy = scene_.stagingDirectories().front() / "Kavio.app";
                fs::remove_all(copy);
                fs::create_directory(copy);
                writeFile(copy / "evil", "");
            }
        };
    }

    void expectRefusal() {
        try {
            static_cast<void>(scene_.install());
            ADD_FAILURE() << "no error";
        } catch (const InstallerError& error) {
            EXPECT_EQ(error.errorDescription(), "Application signature or publisher mismatch");
        }
        EXPECT_THAT(scene_.stagingDirectories(), testing::IsEmpty());
        EXPECT_FALSE(scene_.isAttached());
        scene_.expectOutsideUntouched();
    }

    InstallScene scene_;
};

TEST_F(InstallSwapTest, CopyThatWasExchangedDoesNotStay) {
    InstallScene::make(scene_.target, "1.0.0");
    swapCopy();
    expectRefusal();
    EXPECT_TRUE(scene_.isInstalled("1.0.0"));
}

// There is nothing to go back to; the next start refuses it.
TEST_F(InstallSwapTest, CopyThatWasExchangedInAFirstInstallationStays) {
    swapCopy();
    expectRefusal();
    EXPECT_TRUE(fs::exists(scene_.target / "evil"));
    scene_.before = nullptr;
    scene_.recover();
    EXPECT_THROW(static_cast<void>(scene_.install()), PlatformError);
}

// It must not take the place of the application that is still there.
TEST_F(InstallSwapTest, PlantedBackupIsNotPutBack) {
    InstallScene::make(scene_.target, "1.0.0");
    scene_.before = [this](const std::string& effect) {
        if (effect.starts_with("Folder.move Kavio.app previous.app")) {
            InstallScene::make(scene_.stagingDirectories().front() / "previous.app", "3.0.0");
        }
    };
    Testing::expectPlatformError(FileErrorCode::writeFileExists,
                                 [this] { static_cast<void>(scene_.install()); });
    EXPECT_TRUE(scene_.isInstalled("1.0.0"));
    EXPECT_THAT(scene_.stagingDirectories(), testing::IsEmpty());
}

TEST_F(InstallSwapTest, ImageThatIsExchangedAfterItsHashIsStillVerified) {
    scene_.before = [this](const std::string& effect) {
        if (effect.starts_with("hdiutil attach")) {
            writeFile(scene_.source / "Contents/Resources/text", "evil");
        }
    };
    expectRefusal();
    EXPECT_FALSE(fs::exists(scene_.target));
}

} // namespace

} // namespace InstallerCore
