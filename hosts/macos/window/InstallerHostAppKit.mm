#include "hosts/macos/window/InstallerHostAppKit.h"

#include "hosts/macos/FoundationValues.h"
#include "hosts/macos/window/AppDelegateAppKit.h"
#include "hosts/macos/window/WithoutThrowing.h"

#include <dispatch/dispatch.h>

namespace InstallerCore {

void InstallerHostAppKit::onMain(std::function<void()> work) {
    dispatch_async(dispatch_get_main_queue(), ^{
        @autoreleasepool {
            withoutThrowing(work);
        }
    });
}

void InstallerHostAppKit::onMainAndWait(const std::function<void()>& work) {
    const auto* const waitedFor = &work;
    dispatch_sync(dispatch_get_main_queue(), ^{
        @autoreleasepool {
            withoutThrowing(*waitedFor);
        }
    });
}

// Nobody waits for it: what it has not done when the application ends, the next start takes up.
void InstallerHostAppKit::inBackground(std::function<void()> work) {
    dispatch_async(dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0), ^{
        @autoreleasepool {
            withoutThrowing(work);
        }
    });
}

void InstallerHostAppKit::becomeRegular() {
    [NSApp setActivationPolicy:NSApplicationActivationPolicyRegular];
}

void InstallerHostAppKit::show(const InstallerWindow& window) {
    if (window_ == nullptr) {
        window_ = std::make_unique<InstallerWindowAppKit>(delegate_);
    }
    window_->show(window);
}

void InstallerHostAppKit::orderFront() {
    window_->orderFront();
}

void InstallerHostAppKit::orderOut() {
    window_->orderOut();
}

void InstallerHostAppKit::beep() {
    NSBeep();
}

void InstallerHostAppKit::runAlert(const std::string& message) {
    NSAlert* alert = [[NSAlert alloc] init];
    alert.messageText = toNSString(message);
    alert.window.preventsApplicationTerminationWhenModal = NO; // whoever asks for the end is answered as ever
    [NSApp activateIgnoringOtherApps:YES];
    [alert runModal];
}

void InstallerHostAppKit::openApplication(const std::filesystem::path& application,
                                          std::function<void(const OpenResult&)> completion) {
    NSWorkspaceOpenConfiguration* configuration = [NSWorkspaceOpenConfiguration configuration];
    configuration.activates = YES;
    [NSWorkspace.sharedWorkspace
        openApplicationAtURL:toNSURL(application)
               configuration:configuration
           completionHandler:^(NSRunningApplication* running, NSError* error) {
               withoutThrowing([&] {
                   OpenResult result{.error = std::nullopt, .isRunning = running != nil};
                   if (error != nil) {
                       result.error = toString(error.localizedDescription);
                   }
                   completion(result);
               });
           }];
}

std::filesystem::path InstallerHostAppKit::mainBundle() const {
    return toPath(NSBundle.mainBundle.bundleURL);
}

void InstallerHostAppKit::holdAwake(bool isAwake) {
    NSProcessInfo* process = NSProcessInfo.processInfo;
    if (isAwake && activity_ == nil) {
        // Against idle sleep, App Nap and an end without being asked.
        activity_ = [process beginActivityWithOptions:NSActivityUserInitiated reason:toNSString(awakeReason)];
    } else if (!isAwake && activity_ != nil) {
        [process endActivity:activity_];
        activity_ = nil;
    }
}

void InstallerHostAppKit::terminate() {
    [delegate_ terminate];
}

} // namespace InstallerCore
