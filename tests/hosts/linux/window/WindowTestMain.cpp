#include "hosts/linux/window/WindowApplication.h"

#include <gtest/gtest.h>

#include <QApplication>

// Qt fills large shapes on threads of its own and waits for them in a way that ThreadSanitizer does not see.
// Only what Qt's libraries themselves allocate, copy and free is left out of its sight.
extern "C" const char* __tsan_default_suppressions() {
    return "called_from_lib:libQt6Core.so.6\ncalled_from_lib:libQt6Gui.so.6\n";
}

// Suites that need Qt's application, without a display.
int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(count, arguments);
    InstallerCore::WindowApplication::setUp();
    return RUN_ALL_TESTS();
}
