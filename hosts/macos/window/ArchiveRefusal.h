#pragma once

namespace InstallerCore {

// Stops the program: what initWithCoder: does in a view that no archive can describe.
[[noreturn]] void refuseArchive();

} // namespace InstallerCore
