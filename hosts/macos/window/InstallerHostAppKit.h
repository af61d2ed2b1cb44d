#pragma once

#include "KavioInstaller/InstallerHost.h"
#include "hosts/macos/window/InstallerWindowAppKit.h"

#include <memory>

namespace InstallerCore {

// The desktop of a Mac, by AppKit. Made while there is an NSApplication.
class InstallerHostAppKit final : public InstallerHost {
public:
    // Whom the window asks, and who ends the application. Called before anything else.
    void setDelegate(AppDelegateAppKit* delegate) { delegate_ = delegate; }

    void onMain(std::function<void()> work) override;
    void onMainAndWait(const std::function<void()>& work) override;
    void inBackground(std::function<void()> work) override;
    void becomeRegular() override;
    void show(const InstallerWindow& window) override;
    void orderFront() override;
    void orderOut() override;
    void beep() override;
    void runAlert(const std::string& message) override;
    void openApplication(const std::filesystem::path& application,
                         std::function<void(const OpenResult&)> completion) override;
    [[nodiscard]] std::filesystem::path mainBundle() const override;
    void holdAwake(bool isAwake) override;
    void terminate() override;

private:
    AppDelegateAppKit* delegate_ = nil;
    std::unique_ptr<InstallerWindowAppKit> window_;
    id<NSObject> activity_ = nil; // that keeps the system awake, while there is one
};

} // namespace InstallerCore
