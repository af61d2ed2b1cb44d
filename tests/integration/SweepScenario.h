#pragma once

#include "tests/integration/InstallRoot.h"

#include <functional>
#include <ostream>
#include <vector>

namespace InstallerCore::Testing {

// From what an installation sets out.
struct SweepScenario {
    static constexpr const char* offered = "2.0.0"; // the version to be installed in all of them

    const char* name;
    const char* previous; // version that is there, or put aside; "" for none
    std::function<void(InstallRoot&)> arrange;
    bool refusedInPlace = false; // by the system's policy, until the next start
    // Whether a sample has all renames and removals of the tools in it, too: they do the same in each
    // scenario.
    bool tools = false;
};

// For the names of tests.
inline std::ostream& operator<<(std::ostream& stream, const SweepScenario& scenario) {
    return stream << scenario.name;
}

[[nodiscard]] const std::vector<SweepScenario>& sweepScenarios();

} // namespace InstallerCore::Testing
