#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/localization/InstallerLocalization.h"
#include "KavioInstaller/CoreOperations.h"
#include "KavioInstaller/InstallationRun.h"
#include "KavioInstaller/InstallerHost.h"
#include "KavioInstaller/InstallerWindow.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore {

class FileLock;
class Resources;

// Where the flow stands.
enum class FlowState : std::uint8_t {
    launching,        // the first check runs
    firstCheckFailed, // the button repeats it
    downloading,      // a run is on its way and can be paused
    installing,       // a run is past the point where it could be
    closing,          // a run is to stop, and the application with it
    stopped,          // a run failed or was paused; the button begins another
    opening,          // the application is in place; the button opens it again
};

// Drives the installer from its start to the opened application. All methods are for the main thread; what
// takes long runs in the background, and comes back through the host's main queue. Lives until the process
// ends: what runs in the background refers to it.
class AppDelegate {
public:
    struct Environment {
        InstallerHost& host;
        CoreOperations core;
        InstallerLocalization strings;
        const Resources& resources;
        std::vector<std::string> preferredLanguages;
        std::filesystem::path directory = "/Applications"; // where the application is installed

        // On the core itself. The platform must outlive it.
        [[nodiscard]] static Environment live(InstallerHost& host, const Config& config,
                                              const Platform& platform);
    };

    AppDelegate(Config config, Environment environment);
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;
    ~AppDelegate();

    // The application runs: takes the lock, or says that it cannot and ends.
    void applicationDidFinishLaunching();

    // The button: begins, tries again, or opens.
    void start();

    // Whether the window may close; what wants to close it, in whatever form, asks here. Pauses a download
    // first, and ends the application when nothing runs.
    [[nodiscard]] bool windowShouldClose();

    [[nodiscard]] FlowState state() const noexcept;

private:
    struct FirstCheck {
        std::optional<std::filesystem::path> application;
        std::exception_ptr error;
    };

    // Runs the work on the main thread later, and shows what it made of the window.
    void ui(std::function<void()> work);
    void render();

    void openExistingOrInstall();
    [[nodiscard]] FirstCheck firstCheck() const;
    void firstCheckFinished(const std::filesystem::path& application);
    void firstCheckFoundNothing();
    void firstCheckFailed(const std::exception_ptr& error);

    void beginRun();
    void runInBackground(const CoreOperations::CancelFlag& cancellation);
    void showProgress(std::int64_t received, std::int64_t total);
    void enterInstallation();
    void runReachedApplication(const InstallationRun::Result& result);
    void runFailed(const std::exception_ptr& error);

    void launch(const std::filesystem::path& application);
    void launchFinished(const OpenResult& result);
    void finishAfterOpeningDesktop();

    void showInstallerWindow();
    void setErrorPresentation(bool isError);
    void showError(const std::exception& error);
    void setStatus(InstallerMessage message);
    void setActive(bool isActive);
    void pulse();
    void stopPulse();

    Config config_;
    InstallerHost& host_;
    CoreOperations core_;
    InstallerLocalization strings_;
    const Resources& resources_;
    std::vector<std::string> preferredLanguages_;
    InstallerWindow window_;
    bool isWindowBuilt_ = false;
    std::filesystem::path directory_;
    bool checkingExisting_ = true; // the first check has not yet said that there is nothing
    bool closing_ = false;         // the user asked to close while a run could be paused
    bool active_ = false;          // something runs in the background
    bool installing_ = false;      // it can no longer be stopped
    CoreOperations::CancelFlag cancellation_ = std::make_shared<Cancellation>();
    std::optional<std::filesystem::path> target_; // the application to open
    std::unique_ptr<FileLock> lock_;              // held until the process ends
};

} // namespace InstallerCore
