#include "hosts/linux/window/QuitRequests.h"

#include "hosts/posix/QuitSignalNumbers.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <QGuiApplication>
#include <QSessionManager>
#include <QSocketNotifier>
#include <csignal>
#include <utility>

namespace InstallerCore {

Descriptor takeQuitSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : quitSignals) {
        ::sigaddset(&signals, number);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return Descriptor(::signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
}

QuitRequests::QuitRequests(Descriptor signals, std::function<bool()> mayQuit)
    : mayQuit_(std::move(mayQuit)), signals_(std::move(signals)) {
    auto* const notifier = new QSocketNotifier(signals_.get(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &QuitRequests::readSignals);
    connect(
        qGuiApp, &QGuiApplication::commitDataRequest, this,
        [this](QSessionManager& session) {
            if (!mayQuit_()) {
                session.cancel();
            }
        },
        Qt::DirectConnection);
}

void QuitRequests::readSignals() {
    signalfd_siginfo information{};
    while (::read(signals_.get(), &information, sizeof information) == sizeof information) {
        static_cast<void>(mayQuit_());
    }
}

} // namespace InstallerCore
