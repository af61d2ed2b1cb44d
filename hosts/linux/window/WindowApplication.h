#pragma once

#include <string>

namespace InstallerCore {

// What the application as a whole looks like and does beside its window. Nothing here puts anything on the
// screen but the alert.
class WindowApplication {
public:
    // Once there is a QApplication: the light look, whatever the desktop's; the end of the last window does
    // not end the application.
    static void setUp();

    // A modal alert with this message alone, before all other windows. Returns when it is dismissed.
    static void runAlert(const std::string& message);

    static void beep();
};

} // namespace InstallerCore
