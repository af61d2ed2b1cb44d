#pragma once

#include "hosts/posix/Descriptor.h"

namespace InstallerCore {

// While it is held, the machine does not fall asleep for want of a user's touch: the session manager is asked
// for it over the system's message bus. Where there is none, nothing happens. For the main thread.
class SleepInhibitor {
public:
    void hold(bool isHeld);

private:
    Descriptor lock_; // the session manager's, given back by closing it
};

} // namespace InstallerCore
