#pragma once

#include "KavioInstaller/InstallerHost.h"
#include "hosts/linux/window/InstallerWindowQt.h"
#include "hosts/linux/window/MainQueue.h"
#include "hosts/linux/window/SleepInhibitor.h"

#include <functional>
#include <memory>

namespace InstallerCore {

struct Platform;

// The desktop of a Linux machine, by Qt. Made and used while there is a QApplication; the platform must
// outlive it.
class InstallerHostQt final : public InstallerHost {
public:
    InstallerHostQt(std::filesystem::path mainBundle, const Platform& platform)
        : mainBundle_(std::move(mainBundle)), platform_(platform) {}

    // What the window asks. Called before it is shown.
    void setActions(InstallerWindowQt::Actions actions) { actions_ = std::move(actions); }

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
    std::filesystem::path mainBundle_;
    const Platform& platform_;
    InstallerWindowQt::Actions actions_;
    MainQueue queue_;
    std::unique_ptr<InstallerWindowQt> window_;
    SleepInhibitor inhibitor_;
};

} // namespace InstallerCore
