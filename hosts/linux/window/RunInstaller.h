#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/platform/Platform.h"

#include <filesystem>

namespace InstallerCore {

// Where an installer of one main works.
struct InstallerPlaces {
    std::filesystem::path applications = "/Applications";
    std::filesystem::path mainBundle; // the installer's own
};

// Runs the installer in a window until it ends, and then the process with it, whatever still runs in the
// background. The arguments are main's; the platform must live as long as the process.
[[noreturn]] void runInstaller(int& count, char** arguments, const Config& config, const Platform& platform,
                               const InstallerPlaces& places);

// The bundle that this program lies in, by its path; the program's directory when it lies in none.
[[nodiscard]] std::filesystem::path bundleOfThisProgram();

} // namespace InstallerCore
