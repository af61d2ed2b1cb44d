#include "hosts/linux/window/InstallerHostQt.h"

#include "hosts/linux/window/ApplicationLauncher.h"
#include "hosts/linux/window/WindowApplication.h"

#include <QCoreApplication>
#include <thread>
#include <utility>

namespace InstallerCore {

void InstallerHostQt::onMain(std::function<void()> work) {
    queue_.post(std::move(work));
}

void InstallerHostQt::onMainAndWait(const std::function<void()>& work) {
    queue_.postAndWait(work);
}

// Nobody waits for it: what it has not done when the application ends, the next start takes up.
void InstallerHostQt::inBackground(std::function<void()> work) {
    std::thread(std::move(work)).detach();
}

// Desktops show in their task bars what has a window, and the first one comes right after this.
void InstallerHostQt::becomeRegular() {}

void InstallerHostQt::show(const InstallerWindow& window) {
    if (window_ == nullptr) {
        window_ = std::make_unique<InstallerWindowQt>(actions_);
    }
    window_->setValue(window);
}

void InstallerHostQt::orderFront() {
    window_->orderFront();
}

void InstallerHostQt::orderOut() {
    window_->orderOut();
}

void InstallerHostQt::beep() {
    WindowApplication::beep();
}

void InstallerHostQt::runAlert(const std::string& message) {
    WindowApplication::runAlert(message);
}

void InstallerHostQt::openApplication(const std::filesystem::path& application,
                                      std::function<void(const OpenResult&)> completion) {
    inBackground([application, completion = std::move(completion), this] {
        completion(launchApplication(application, platform_));
    });
}

std::filesystem::path InstallerHostQt::mainBundle() const {
    return mainBundle_;
}

void InstallerHostQt::holdAwake(bool isAwake) {
    inhibitor_.hold(isAwake);
}

void InstallerHostQt::terminate() {
    QCoreApplication::exit(0); // quit() would ask the window first
}

} // namespace InstallerCore
