#pragma once

#include "KavioInstaller/InstallerWindow.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace InstallerCore {

// How opening an application ended.
struct OpenResult {
    std::optional<std::string> error; // its description
    bool isRunning = false;           // the application, as far as the system says
};

// What the flow needs of the desktop around it: queues, a window, the workspace. One body for each platform,
// and none of them decides anything.
class InstallerHost {
public:
    virtual ~InstallerHost() = default;

    // The three queues; from any thread.

    // Runs the work later on the main thread, in the order of the calls.
    virtual void onMain(std::function<void()> work) = 0;

    // Runs the work on the main thread and returns when it has run. Never called on the main thread.
    virtual void onMainAndWait(const std::function<void()>& work) = 0;

    // Runs the work on another thread.
    virtual void inBackground(std::function<void()> work) = 0;

    // Everything else is for the main thread.

    // Until then the application has no place in a task bar, and no menu.
    virtual void becomeRegular() = 0;

    // Brings what is on the screen in line with the value; makes the window, centred, the first time. Does
    // not bring it to the front.
    virtual void show(const InstallerWindow& window) = 0;

    // The window before all others, this application active. There is a window.
    virtual void orderFront() = 0;

    // Takes the window off the screen, without closing it.
    virtual void orderOut() = 0;

    virtual void beep() = 0;

    // A modal alert with this message alone, in front even of other applications. Returns when it is
    // dismissed.
    virtual void runAlert(const std::string& message) = 0;

    // Opens the application and makes it the active one; the completion is called once, on any thread.
    virtual void openApplication(const std::filesystem::path& application,
                                 std::function<void(const OpenResult&)> completion) = 0;

    // The installer's own bundle.
    [[nodiscard]] virtual std::filesystem::path mainBundle() const = 0;

    // While it is true, the system is asked not to fall asleep for want of a user's touch, for that reason.
    static constexpr const char* awakeReason = "Kavio is being installed";
    virtual void holdAwake(bool isAwake) = 0;

    // Ends the application, without asking the window whether it may close. Returns; the process ends soon
    // after, whatever runs in the background.
    virtual void terminate() = 0;
};

} // namespace InstallerCore
