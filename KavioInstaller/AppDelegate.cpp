#include "KavioInstaller/AppDelegate.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/Languages.h"

#include <utility>

namespace InstallerCore {

namespace {

// The work with the error itself, whatever it is.
template <typename Work>
void withError(const std::exception_ptr& error, const Work& work) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& known) {
        work(known);
    }
}

} // namespace

AppDelegate::Environment AppDelegate::Environment::live(InstallerHost& host, const Config& config,
                                                        const Platform& platform) {
    return {.host = host,
            .core = CoreOperations::live(config, platform),
            .strings = InstallerLocalization::live(platform),
            .resources = platform.resources,
            .preferredLanguages = platform.languages.preferred()};
}

AppDelegate::AppDelegate(Config config, Environment environment)
    : config_(std::move(config)),
      host_(environment.host),
      core_(std::move(environment.core)),
      strings_(std::move(environment.strings)),
      resources_(environment.resources),
      preferredLanguages_(std::move(environment.preferredLanguages)),
      directory_(std::move(environment.directory)) {}

AppDelegate::~AppDelegate() = default;

FlowState AppDelegate::state() const noexcept {
    if (!active_) {
        if (checkingExisting_) {
            return FlowState::firstCheckFailed;
        }
        return target_ ? FlowState::opening : FlowState::stopped;
    }
    if (installing_) {
        return FlowState::installing;
    }
    if (closing_) {
        return FlowState::closing;
    }
    return checkingExisting_ ? FlowState::launching : FlowState::downloading;
}

void AppDelegate::ui(std::function<void()> work) {
    host_.onMain([this, work = std::move(work)] {
        work();
        render();
    });
}

void AppDelegate::render() {
    if (isWindowBuilt_) {
        host_.show(window_);
    }
}

void AppDelegate::applicationDidFinishLaunching() {
    try {
        lock_ = core_.takeInstanceLock(core_.privateCache());
    } catch (const std::exception& error) {
        core_.log(ErrorText::startupFailed(error.what()));
        host_.runAlert(strings_.text(InstallerLocalization::errorMessage(error)));
        host_.terminate();
        return;
    }
    core_.record("installer_opened", std::nullopt);
    openExistingOrInstall();
}

void AppDelegate::openExistingOrInstall() {
    if (active_) {
        return;
    }
    setActive(true);
    host_.inBackground([this] {
        ui([this, result = firstCheck()] {
            if (result.error) {
                firstCheckFailed(result.error);
            } else if (result.application) {
                firstCheckFinished(*result.application);
            } else {
                firstCheckFoundNothing();
            }
        });
    });
}

AppDelegate::FirstCheck AppDelegate::firstCheck() const {
    try {
        if (core_.shouldResume(core_.privateCache(), config_.channelURL)) {
            core_.record("pending_install_resumed", std::nullopt);
            return {};
        }
        return {.application = core_.existing(directory_, std::nullopt), .error = nullptr};
    } catch (const std::exception&) {
        return {.application = std::nullopt, .error = std::current_exception()};
    }
}

void AppDelegate::firstCheckFinished(const std::filesystem::path& application) {
    host_.openApplication(application, [this](const OpenResult& result) {
        ui([this, result] {
            setActive(false);
            if (!result.error && result.isRunning) {
                core_.record("existing_app_opened", std::nullopt);
                finishAfterOpeningDesktop();
                return;
            }
            showInstallerWindow();
            setStatus(InstallerMessage::launch_error);
            setErrorPresentation(true);
        });
    });
}

void AppDelegate::firstCheckFoundNothing() {
    setActive(false);
    checkingExisting_ = false;
    showInstallerWindow();
    start();
}

void AppDelegate::firstCheckFailed(const std::exception_ptr& error) {
    setActive(false);
    showInstallerWindow();
    withError(error, [this](const std::exception& known) { showError(known); });
    setErrorPresentation(true);
}

void AppDelegate::start() {
    switch (state()) {
    case FlowState::launching:
    case FlowState::downloading:
    case FlowState::installing:
    case FlowState::closing:
        return;
    case FlowState::firstCheckFailed:
        window_.action.isEnabled = false;
        openExistingOrInstall();
        break;
    case FlowState::opening:
        setErrorPresentation(false);
        launch(*target_);
        break;
    case FlowState::stopped:
        setErrorPresentation(false);
        beginRun();
        break;
    }
    render();
}

void AppDelegate::beginRun() {
    setActive(true);
    installing_ = false;
    cancellation_ = std::make_shared<Cancellation>(); // a run never inherits an old cancel
    window_.action.isEnabled = false;
    setStatus(InstallerMessage::checking);
    window_.percentage.text.clear();
    pulse();
    host_.inBackground([this, cancellation = cancellation_] { runInBackground(cancellation); });
}

void AppDelegate::runInBackground(const CoreOperations::CancelFlag& cancellation) {
    const RunReports reports{
        .downloading =
            [this](std::int64_t received, std::int64_t total) {
                ui([this, received, total] { showProgress(received, total); });
            },
        .willInstall =
            [this] {
                host_.onMainAndWait([this] {
                    enterInstallation();
                    render();
                });
            },
        .installing = [this](InstallerMessage message) { ui([this, message] { setStatus(message); }); }};
    std::function<void()> end;
    try {
        InstallationRun run(config_, core_, cancellation, directory_, reports);
        end = [this, result = run.run()] { runReachedApplication(result); };
    } catch (const std::exception&) {
        end = [this, error = std::current_exception()] { runFailed(error); };
    }
    ui(std::move(end));
}

void AppDelegate::showProgress(std::int64_t received, std::int64_t total) {
    const double fraction = static_cast<double>(received) / static_cast<double>(total);
    setStatus(InstallerMessage::downloading);
    stopPulse();
    window_.bar.doubleValue = fraction * 100;
    window_.percentage.text = strings_.percent(fraction);
}

void AppDelegate::enterInstallation() {
    installing_ = true;
    window_.percentage.text.clear();
    pulse();
}

void AppDelegate::runReachedApplication(const InstallationRun::Result& result) {
    target_ = result.application;
    setActive(false);
    if (!result.wasCurrent) { // else it was never set
        installing_ = false;
    }
    window_.action.isEnabled = true;
    window_.action.title = strings_.text(InstallerMessage::retry);
    setStatus(InstallerMessage::installed);
    launch(*target_);
}

void AppDelegate::runFailed(const std::exception_ptr& error) {
    if (closing_) {
        host_.terminate();
        return;
    }
    setActive(false);
    installing_ = false;
    window_.action.isEnabled = true;
    stopPulse();
    window_.action.title = strings_.text(InstallerMessage::retry);
    withError(error, [this](const std::exception& known) { showError(known); });
    if (cancellation_->isCancelled()) {
        setStatus(InstallerMessage::paused);
        window_.action.isHidden = false;
    } else {
        setErrorPresentation(true);
    }
}

void AppDelegate::launch(const std::filesystem::path& application) {
    stopPulse();
    window_.bar.doubleValue = 100;
    window_.percentage.text.clear();
    setStatus(InstallerMessage::opening);
    host_.openApplication(
        application, [this](const OpenResult& result) { ui([this, result] { launchFinished(result); }); });
}

void AppDelegate::launchFinished(const OpenResult& result) {
    if (!result.error && result.isRunning) {
        core_.record("app_opened", std::nullopt);
        finishAfterOpeningDesktop();
        return;
    }
    if (result.error) {
        core_.log(ErrorText::launchFailed(*result.error));
    }
    setStatus(InstallerMessage::launch_error);
    setErrorPresentation(true);
}

bool AppDelegate::windowShouldClose() {
    switch (state()) {
    case FlowState::installing:
        host_.beep();
        return false;
    case FlowState::launching:
    case FlowState::downloading:
    case FlowState::closing:
        closing_ = true;
        cancellation_->cancel();
        setStatus(InstallerMessage::saving);
        render();
        return false;
    case FlowState::firstCheckFailed:
    case FlowState::stopped:
    case FlowState::opening:
        break;
    }
    host_.terminate();
    return true;
}

void AppDelegate::finishAfterOpeningDesktop() {
    if (isWindowBuilt_) {
        host_.orderOut();
    }
    core_.scheduleEjection(host_.mainBundle());
    host_.terminate();
}

void AppDelegate::showInstallerWindow() {
    host_.becomeRegular();
    if (!isWindowBuilt_) {
        isWindowBuilt_ = true;
        window_.intro = VideoIntroView::make(preferredLanguages_, resources_);
        window_.layOut(strings_.isRTL(), strings_.text(InstallerMessage::retry));
        render();
    }
    host_.orderFront();
}

void AppDelegate::setErrorPresentation(bool isError) {
    window_.setErrorPresentation(isError, strings_.text(InstallerMessage::retry));
}

void AppDelegate::showError(const std::exception& error) {
    core_.log(ErrorText::installerFailed(error.what()));
    setStatus(InstallerLocalization::errorMessage(error));
}

void AppDelegate::setStatus(InstallerMessage message) {
    window_.label.text = strings_.text(message);
}

void AppDelegate::setActive(bool isActive) {
    active_ = isActive;
    host_.holdAwake(isActive);
}

void AppDelegate::pulse() {
    window_.bar.isIndeterminate = true;
    window_.bar.startAnimation();
}

void AppDelegate::stopPulse() {
    window_.bar.removeActivity();
    window_.bar.isIndeterminate = false;
}

} // namespace InstallerCore
