// The installer on Linux.
#include "InstallerCore/config/BuildConfig.h"
#include "KavioInstaller/EntryPoint.h"
#include "hosts/linux/LinuxHost.h"
#include "hosts/linux/window/RunInstaller.h"

#include <exception>
#include <iostream>

int main(int count, char** arguments) {
    using namespace InstallerCore;
    try {
        return runWithConfiguration(BuildConfig::json(), std::cerr, [&](const Config& config) -> int {
            const LinuxHost host;
            Platform::setHost(host.platform());
            runInstaller(count, arguments, config, host.platform(), {.mainBundle = bundleOfThisProgram()});
        });
    } catch (const std::exception& error) {
        std::cerr << "The installer cannot start: " << error.what() << '\n';
        return 1;
    }
}
