#pragma once

#include "InstallerCore/config/Config.h"
#include "rehearsal/CommandLine.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// What the programs of a rehearsal have in common: a directory as their first operand, and the product's
// configuration, which the options --configuration (a file in place of the one inside the program) and
// --bundle-identifier alter.
struct RehearsalProgram {
    std::string name;
    std::string usage;                // with its line break
    std::vector<std::string> options; // that it knows
    std::size_t mostOperands = 1;
};

// Runs the body; returns main's status. Prints the usage (status 2) for another number of operands, and what
// the body or the reading of its arguments throws (status 1), to standard error.
[[nodiscard]] int runProgram(const RehearsalProgram& program, int count, char** arguments,
                             const std::function<int(const Config&, const CommandLine&)>& body);

} // namespace InstallerCore::Rehearsal
