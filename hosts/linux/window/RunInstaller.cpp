#include "hosts/linux/window/RunInstaller.h"

#include "KavioInstaller/AppDelegate.h"
#include "hosts/linux/window/InstallerHostQt.h"
#include "hosts/linux/window/QuitRequests.h"
#include "hosts/linux/window/WindowApplication.h"

#include <QApplication>
#include <cstdlib>
#include <utility>

namespace InstallerCore {

void runInstaller(int& count, char** arguments, const Config& config, const Platform& platform,
                  const InstallerPlaces& places) {
    Descriptor quitSignals = takeQuitSignals();
    const QApplication application(count, arguments);
    WindowApplication::setUp();
    InstallerHostQt host(places.mainBundle, platform);
    auto environment = AppDelegate::Environment::live(host, config, platform);
    environment.directory = places.applications;
    AppDelegate delegate(config, std::move(environment));
    const auto shouldClose = [&delegate] { return delegate.windowShouldClose(); };
    host.setActions({.shouldClose = shouldClose, .action = [&delegate] { delegate.start(); }});
    const QuitRequests requests(std::move(quitSignals), shouldClose);
    host.onMain([&delegate] { delegate.applicationDidFinishLaunching(); });
    const int status = QApplication::exec();
    // Not by way of destructors: the background may still be at work, and is made to be cut off anywhere.
    std::_Exit(status);
}

std::filesystem::path bundleOfThisProgram() {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    for (auto directory = program.parent_path(); directory.has_relative_path();
         directory = directory.parent_path()) {
        if (directory.extension() == ".app") {
            return directory;
        }
    }
    return program.parent_path();
}

} // namespace InstallerCore
