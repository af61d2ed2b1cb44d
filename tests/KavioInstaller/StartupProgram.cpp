#include "InstallerCore/config/BuildConfig.h"
#include "KavioInstaller/EntryPoint.h"

#include <iostream>

int main() {
    using namespace InstallerCore;
    return startInstaller(BuildConfig::json(), std::cerr, [](const Config& config) {
        std::cout << config.bundleID << '\n';
        return 7;
    });
}
