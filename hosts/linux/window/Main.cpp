// The installer on Linux.
#include "InstallerCore/config/BuildConfig.h"
#include "KavioInstaller/EntryPoint.h"
#include "hosts/linux/LinuxHost.h"
#include "hosts/linux/window/RunInstaller.h"

#include <iostream>

int main(int count, char** arguments) {
    using namespace InstallerCore;
    return startInstaller(BuildConfig::json(), std::cerr, [&](const Config& config) -> int {
        const LinuxHost host;
        Platform::setHost(host.platform());
        runInstaller(count, arguments, config, host.platform(), {.mainBundle = bundleOfThisProgram()});
    });
}
