// The installer in its window, on the machine and against the server that serve-release has made in a
// directory. Usage: rehearse-installer DIRECTORY
#include "InstallerCore/config/BuildConfig.h"
#include "KavioInstaller/EntryPoint.h"
#include "hosts/linux/LinuxHost.h"
#include "hosts/linux/window/RunInstaller.h"
#include "rehearsal/LoopbackHttp.h"
#include "rehearsal/RehearsalRoot.h"

#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace InstallerCore::Rehearsal {

namespace {

std::uint16_t portIn(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::uint16_t port = 0;
    if (!(stream >> port)) {
        throw std::runtime_error("there is no port in " + file.string());
    }
    return port;
}

[[noreturn]] void rehearse(int count, char** arguments, const Config& config,
                           const std::filesystem::path& directory) {
    const RehearsalRoot root(directory / "root");
    const LinuxHost machine(root.home(), KAVIO_RESOURCES);
    LoopbackHttp http(config.allowedHosts, portIn(directory / "port"), directory / "authority.pem");
    Platform platform = over(http, machine.platform());
    platform.paths = root.paths();
    Platform::setHost(platform);
    runInstaller(count, arguments, config, platform,
                 {.applications = root.applications(), .mainBundle = bundleOfThisProgram()});
}

} // namespace

} // namespace InstallerCore::Rehearsal

int main(int count, char** arguments) {
    if (count != 2) {
        std::cerr << "usage: rehearse-installer DIRECTORY\n";
        return 2;
    }
    try {
        return InstallerCore::runWithConfiguration(
            InstallerCore::BuildConfig::json(), std::cerr, [&](const InstallerCore::Config& config) -> int {
                InstallerCore::Rehearsal::rehearse(count, arguments, config,
                                                   std::filesystem::absolute(arguments[1]));
            });
    } catch (const std::exception& error) {
        std::cerr << "rehearse-installer: " << error.what() << '\n';
        return 1;
    }
}
