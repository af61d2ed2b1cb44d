// Makes a machine and a release in a directory and serves the release on loopback until its input ends; then
// says what the server was asked. Usage: serve-release DIRECTORY [BYTES-PER-SECOND]
// Without a speed, images come as fast as they can. In the directory: root/ (the machine), release/,
// authority.pem and port, which is there once the server answers.
#include "InstallerCore/config/BuildConfig.h"
#include "KavioInstaller/EntryPoint.h"
#include "hosts/linux/LinuxHost.h"
#include "rehearsal/RehearsalRoot.h"
#include "rehearsal/ReleaseServer.h"
#include "rehearsal/SampleRelease.h"

#include <exception>
#include <fstream>
#include <iostream>
#include <string>

namespace InstallerCore::Rehearsal {

namespace {

constexpr const char* version = "1.4.2";
constexpr std::uint64_t payloadFiles = 500;
constexpr std::uint64_t payloadBytes = 60'000'000;

// The feed comes slowly as well, so that the check can be seen.
std::string limits(const std::string& bytesPerSecond) {
    if (bytesPerSecond.empty()) {
        return {};
    }
    return "location ~ [.]dmg$ { limit_rate " + bytesPerSecond + "; }\n" +
           "location ~ [.]yml$ { limit_rate 200; }\n";
}

int serve(const Config& config, const std::filesystem::path& directory, const std::string& bytesPerSecond) {
    const RehearsalRoot root(directory / "root");
    root.install();
    const LinuxHost host(root.home());
    const auto documents = directory / "release";
    const auto work = directory / "server";
    std::filesystem::create_directories(work);
    writeSampleRelease(config,
                       {.version = version, .payloadFiles = payloadFiles, .payloadBytes = payloadBytes},
                       documents, host.platform());
    const CertificateAuthority authority;
    writePrivateFile(directory / "authority.pem", authority.certificate());
    ReleaseServer nginx({.directory = work,
                         .documentRoot = documents,
                         .certificate = authority.issue(config.allowedHosts),
                         .http2 = true,
                         .locations = limits(bytesPerSecond)});
    std::ofstream(directory / "port.new") << nginx.port() << '\n';
    std::filesystem::rename(directory / "port.new", directory / "port");
    while (std::cin.get() != std::char_traits<char>::eof()) {
    }
    for (const std::string& request : nginx.stop()) {
        std::cout << "  " << request << '\n';
    }
    return 0;
}

} // namespace

} // namespace InstallerCore::Rehearsal

int main(int count, char** arguments) {
    if (count < 2 || count > 3) {
        std::cerr << "usage: serve-release DIRECTORY [BYTES-PER-SECOND]\n";
        return 2;
    }
    try {
        return InstallerCore::runWithConfiguration(
            InstallerCore::BuildConfig::json(), std::cerr, [&](const InstallerCore::Config& config) {
                return InstallerCore::Rehearsal::serve(config, std::filesystem::absolute(arguments[1]),
                                                       count > 2 ? arguments[2] : "");
            });
    } catch (const std::exception& error) {
        std::cerr << "serve-release: " << error.what() << '\n';
        return 1;
    }
}
