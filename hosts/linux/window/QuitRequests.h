#pragma once

#include "hosts/posix/Descriptor.h"

#include <QObject>
#include <functional>

namespace InstallerCore {

// A descriptor that has SIGTERM, SIGINT and SIGHUP to read in place of their usual effect. Called before
// there is any other thread, a QApplication's included, since a thread that does not block them would get
// them. What is started from here is not touched by it.
[[nodiscard]] Descriptor takeQuitSignals();

// Hears whoever wants this application to end without asking its window: those signals, and the end of the
// desktop's session. Lives on the main thread.
class QuitRequests final : public QObject {
public:
    // Asked each time: says whether the application may end, and sees to its end itself.
    QuitRequests(Descriptor signals, std::function<bool()> mayQuit);

private:
    void readSignals();

    std::function<bool()> mayQuit_;
    Descriptor signals_;
};

} // namespace InstallerCore
