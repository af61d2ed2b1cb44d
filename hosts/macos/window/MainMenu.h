#pragma once

#import <AppKit/AppKit.h>

namespace InstallerCore {

// The menu bar while the application is a regular one: what the window has no control for, by its key.
[[nodiscard]] NSMenu* makeMainMenu();

} // namespace InstallerCore
