#pragma once

#include "tests/InstallerCore/install/InstallScene.h"

#include <functional>
#include <memory>
#include <string>

namespace InstallerCore::Testing {

// What runs and may be cut short at any call.
struct Scenario {
    const char* name;
    std::function<void(InstallScene&)> arrange;
    std::function<void(InstallScene&)> run;
    bool hasPrevious; // an application that may not be lost
};

// A first installation, an upgrade, the same two when they roll back, and recoveries.
[[nodiscard]] const std::vector<Scenario>& allScenarios();

[[nodiscard]] std::unique_ptr<InstallScene> arranged(const Scenario& scenario);

// How many calls and tool runs the scenario makes when nothing stops it.
[[nodiscard]] int callsOf(const Scenario& scenario);

// Right after the interruption: the previous application is whole, at the target or kept as a backup, and
// nothing outside was touched.
void expectNothingLost(const InstallScene& scene, const Scenario& scenario);

// What a user's next start makes of it: recovery, then the installation. In the states that no start can
// settle, recovery refuses each time, the directory is kept, and an application that was there stays.
enum class NextStart {
    complete,       // the new application is there and verifies
    missingJournal, // stopped between the staging directory and its first record
    otherVersion    // stopped between "replacing" and the move aside, or after the backup was put back
};

// What the state on disk lets expect.
[[nodiscard]] NextStart nextStart(const InstallScene& scene);

// Makes the next start and holds it against that.
NextStart expectNextStart(InstallScene& scene);

} // namespace InstallerCore::Testing
