#include "hosts/linux/window/InstallerWindowQt.h"
#include "hosts/linux/window/WindowApplication.h"
#include "tests/hosts/linux/window/WindowStates.h"

#include <unistd.h>

#include <QApplication>
#include <QSocketNotifier>
#include <cstdio>
#include <string>
#include <string_view>

// show-window: shows the window on the display until its input ends. Each line of the input is a state to
// show ("checking", "downloading", "error", "video FILE"); each press of the button is a line of the output.

using namespace InstallerCore;

namespace {

constexpr std::string_view videoPrefix = "video ";

InstallerWindow stateNamed(const std::string& name) {
    if (name == "checking") {
        return Testing::checkingWindow();
    }
    if (name == "error") {
        return Testing::errorWindow();
    }
    InstallerWindow window = Testing::checkingWindow();
    if (name.starts_with(videoPrefix)) {
        window.intro.video = name.substr(videoPrefix.size());
        return window;
    }
    return Testing::downloadingWindow();
}

} // namespace

int main(int count, char** arguments) {
    const QApplication application(count, arguments);
    WindowApplication::setUp();
    InstallerWindowQt window({.shouldClose = [] { return true; },
                              .action =
                                  [] {
                                      std::puts("pressed");
                                      std::fflush(stdout);
                                  }});
    std::string line;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &input, [&] {
        char byte = 0;
        if (read(STDIN_FILENO, &byte, 1) <= 0) {
            QApplication::quit();
        } else if (byte == '\n') {
            window.setValue(stateNamed(line));
            window.orderFront();
            line.clear();
        } else {
            line += byte;
        }
    });
    return QApplication::exec();
}
