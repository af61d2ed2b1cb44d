// The installer on a Mac.
#include "InstallerCore/config/BuildConfig.h"
#include "KavioInstaller/EntryPoint.h"
#include "hosts/macos/MacHost.h"
#include "hosts/macos/window/RunInstaller.h"

#include <iostream>

int main() {
    using namespace InstallerCore;
    @autoreleasepool {
        return startInstaller(BuildConfig::json(), std::cerr, [](const Config& config) -> int {
            const MacHost host;
            Platform::setHost(host.platform());
            runInstaller(config, host.platform());
        });
    }
}
