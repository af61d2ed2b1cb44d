// The installer on a Mac.
#include "InstallerCore/config/BuildConfig.h"
#include "KavioInstaller/EntryPoint.h"
#include "hosts/macos/MacHost.h"
#include "hosts/macos/window/RunInstaller.h"

#include <exception>
#include <iostream>

int main() {
    using namespace InstallerCore;
    @autoreleasepool {
        try {
            return runWithConfiguration(BuildConfig::json(), std::cerr, [](const Config& config) -> int {
                const MacHost host;
                Platform::setHost(host.platform());
                runInstaller(config, host.platform());
            });
        } catch (const std::exception& error) {
            std::cerr << "The installer cannot start: " << error.what() << '\n';
            return 1;
        }
    }
}
