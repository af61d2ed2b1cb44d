// Makes a release of the sample application, for serve-release --feed to serve.
#include "hosts/linux/LinuxHost.h"
#include "rehearsal/RehearsalProgram.h"
#include "rehearsal/SampleRelease.h"
#include "rehearsal/SampleSignature.h"

#include <filesystem>
#include <stdexcept>
#include <string>

namespace InstallerCore::Rehearsal {

namespace {

constexpr const char* usage =
    "usage: make-sample-release DIRECTORY [OPTION VALUE]...\n"
    "The feed and its images come below DIRECTORY, where the channel's address has them.\n"
    "  --version V               of the application; otherwise 1.4.2\n"
    "  --bundle-identifier ID    of the application; otherwise the one of the configuration\n"
    "  --minimum-system V        that the application asks for; otherwise 12.0\n"
    "  --executables DIRECTORY   for macOS, in folders arm64 and x64; otherwise stubs of some\n"
    "  --for-linux yes|no        whether it has an executable that runs here; otherwise yes\n"
    "  --payload BYTES           of resources in 20 files; otherwise 100000\n"
    "  --signed-by WHOM          maker (otherwise); other-team, of another developer known to Apple; "
    "other-root,\n"
    "                            of the same names below a root of its own; nobody\n";

constexpr std::uint64_t payloadFiles = 20;
constexpr std::uint64_t usualPayload = 100'000;

SampleSigner signerNamed(const std::string& name) {
    const auto by = [](const SigningIdentity& identity) {
        return [identity](const std::filesystem::path& bundle) { signSampleApplication(bundle, identity); };
    };
    if (name == "maker") {
        return by(sampleIdentity());
    }
    if (name == "other-team") {
        return by(sampleIdentity().reissued({.team = "OTHERTEAM1"}));
    }
    if (name == "other-root") {
        return by(SigningIdentity::make());
    }
    if (name == "nobody") {
        return [](const std::filesystem::path&) {};
    }
    throw std::runtime_error("nobody is called " + name);
}

int make(const Config& config, const CommandLine& line) {
    const std::filesystem::path directory = line.operands[0];
    std::filesystem::create_directories(directory);
    const LinuxHost host(directory); // nobody's home, and none is needed
    writeSampleRelease(config,
                       {.version = line.option("--version", "1.4.2"),
                        .minimumSystemVersion = line.option("--minimum-system", "12.0"),
                        .executables = line.option("--executables"),
                        .forLinux = line.option("--for-linux", "yes") != "no",
                        .payloadFiles = payloadFiles,
                        .payloadBytes = line.number("--payload", usualPayload)},
                       directory, host.platform(), signerNamed(line.option("--signed-by", "maker")));
    return 0;
}

} // namespace

} // namespace InstallerCore::Rehearsal

int main(int count, char** arguments) {
    using namespace InstallerCore::Rehearsal;
    return runProgram({.name = "make-sample-release",
                       .usage = usage,
                       .options = {"--version", "--bundle-identifier", "--minimum-system", "--executables",
                                   "--for-linux", "--payload", "--signed-by"}},
                      count, arguments, make);
}
