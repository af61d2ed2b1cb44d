// Asks to be quit by signals, and tells whether it was asked. Usage: quit-requests-program HOW ANSWERS
// HOW is "before" the application object exists or "after", a colon, and the number of the signal; or
// "session", which waits for the end of the desktop's session. ANSWERS has a letter for each time that it is
// asked: "n", after which the signal comes again, or "y", which ends it with status 0.
#include "hosts/linux/window/QuitRequests.h"

#include <unistd.h>

#include <QApplication>
#include <QTimer>
#include <csignal>
#include <iostream>
#include <string>
#include <thread>

namespace {

// As from another process: whichever thread does not block it may get it.
void send(int signal) {
    std::thread([signal] { ::kill(::getpid(), signal); }).join();
}

} // namespace

int main(int count, char** arguments) {
    const std::string how = count == 3 ? arguments[1] : "";
    const std::string answers = count == 3 ? arguments[2] : "";
    const bool isForSession = how == "session";
    const int signal = isForSession ? 0 : std::stoi(how.substr(how.find(':') + 1));
    auto signals = InstallerCore::takeQuitSignals();
    if (how.starts_with("before")) {
        send(signal);
    }
    const QApplication application(count, arguments);
    std::cout << "running" << std::endl;
    std::size_t asked = 0;
    const InstallerCore::QuitRequests requests(std::move(signals), [&] {
        const bool mayQuit = answers.at(asked++) == 'y';
        std::cout << (mayQuit ? "yes" : "no") << std::endl;
        if (mayQuit) {
            QCoreApplication::exit(0);
        } else if (!isForSession) {
            QTimer::singleShot(0, [&] { send(signal); });
        }
        return mayQuit;
    });
    if (how.starts_with("after")) {
        QTimer::singleShot(0, [&] { send(signal); });
    }
    return QApplication::exec();
}
