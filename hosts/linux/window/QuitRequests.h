#pragma once

#include "hosts/posix/Descriptor.h"

#include <QObject>
#include <functional>

namespace InstallerCore {

// Hears whoever wants this application to end without asking its window: SIGTERM, SIGINT, SIGHUP, and the end
// of the desktop's session. Made before any other thread, since the signals are blocked in all of them from
// then on; lives on the main thread.
class QuitRequests final : public QObject {
public:
    // Asked each time; says whether the application may end, and sees to its end itself.
    explicit QuitRequests(std::function<bool()> mayQuit);

private:
    void readSignals();

    std::function<bool()> mayQuit_;
    Descriptor signals_;
};

} // namespace InstallerCore
