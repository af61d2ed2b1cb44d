#include "hosts/macos/window/RunInstaller.h"

#include "KavioInstaller/AppDelegate.h"
#include "hosts/macos/window/AppDelegateAppKit.h"
#include "hosts/macos/window/InstallerHostAppKit.h"
#include "hosts/macos/window/MainMenu.h"
#include "hosts/macos/window/QuitSignals.h"

#include <cstdlib>

namespace InstallerCore {

void runInstaller(const Config& config, const Platform& platform) {
    NSApplication* application = NSApplication.sharedApplication;
    InstallerHostAppKit host;
    AppDelegate flow(config, AppDelegate::Environment::live(host, config, platform));
    AppDelegateAppKit* delegate = [[AppDelegateAppKit alloc] initWithFlow:flow];
    host.setDelegate(delegate); // keeps it, since the application does not
    const QuitSignals signals([&flow] { static_cast<void>(flow.windowShouldClose()); });
    [application setActivationPolicy:NSApplicationActivationPolicyAccessory];
    application.mainMenu = makeMainMenu();
    application.delegate = delegate;
    [application run];
    std::_Exit(EXIT_SUCCESS); // not by way of destructors, as in applicationWillTerminate:
}

} // namespace InstallerCore
