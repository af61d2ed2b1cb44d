#pragma once

#include <array>
#include <csignal>

namespace InstallerCore {

// By which a process is asked to end, and may say no.
inline constexpr std::array<int, 3> quitSignals = {SIGTERM, SIGINT, SIGHUP};

} // namespace InstallerCore
