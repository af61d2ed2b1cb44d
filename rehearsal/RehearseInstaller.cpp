// The installer in its window, on the machine and against the server that serve-release has made in a
// directory. Usage: rehearse-installer DIRECTORY [--configuration FILE] [--system-version X.Y.Z]
//                                      [--architecture arm64|x64] [--bundle-identifier ID]
// The configuration is the one inside the program, unless a file is named; version and architecture are of
// the Mac that this machine stands for, the identifier is the application's, where serve-release has it too.
#include "hosts/linux/LinuxHost.h"
#include "hosts/linux/window/RunInstaller.h"
#include "rehearsal/LoopbackHttp.h"
#include "rehearsal/RehearsalProgram.h"
#include "rehearsal/RehearsalRoot.h"
#include "rehearsal/RehearsedSystem.h"

#include <fstream>
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

[[noreturn]] void rehearse(int count, char** arguments, const Config& config, const CommandLine& line) {
    const auto directory = std::filesystem::absolute(line.operands[0]);
    const RehearsalRoot root(directory / "root");
    const LinuxHost machine(root.home(), KAVIO_RESOURCES);
    RehearsedSystem system(machine.platform().system, line.option("--system-version"),
                           line.option("--architecture"));
    LoopbackHttp http(config.allowedHosts, portIn(directory / "port"), directory / "authority.pem");
    Platform platform = over(http, system, machine.platform());
    platform.paths = root.paths();
    Platform::setHost(platform);
    runInstaller(count, arguments, config, platform,
                 {.applications = root.applications(), .mainBundle = bundleOfThisProgram()});
}

} // namespace

} // namespace InstallerCore::Rehearsal

int main(int count, char** arguments) {
    using namespace InstallerCore;
    using namespace InstallerCore::Rehearsal;
    return runProgram(
        {.name = "rehearse-installer",
         .usage = "usage: rehearse-installer DIRECTORY [--configuration FILE] [--system-version X.Y.Z] "
                  "[--architecture arm64|x64] [--bundle-identifier ID]\n",
         .options = {"--configuration", "--system-version", "--architecture", "--bundle-identifier"}},
        count, arguments, [&](const Config& config, const CommandLine& line) -> int {
            rehearse(count, arguments, config, line);
        });
}
