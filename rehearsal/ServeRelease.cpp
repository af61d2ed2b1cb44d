// Makes a machine in a directory and serves a release on loopback until its input ends; then says what the
// server was asked. Usage: serve-release DIRECTORY [BYTES-PER-SECOND] [--feed DIRECTORY]
//                                        [--configuration FILE] [--port PORT] [--bundle-identifier ID]
//                                        [--installed VERSION] [--crawl-after BYTES]
// The release is made of the sample application, unless the directory of a feed and its images is named. The
// configuration is the one inside the program, unless a file is named. Without a speed, images come as fast
// as they can, or crawl once an answer has got so far. The application may have another identifier than the
// configuration says, so that rehearsals beside each other are not held up by each other's, and a version of
// it may be installed already. In the directory: root/ (the machine), release/, authority.pem and port, which
// is there once the server answers.
#include "hosts/linux/LinuxHost.h"
#include "rehearsal/RehearsalProgram.h"
#include "rehearsal/RehearsalRoot.h"
#include "rehearsal/ReleaseServer.h"
#include "rehearsal/SampleRelease.h"
#include "rehearsal/SampleSignature.h"

#include <fstream>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>

namespace InstallerCore::Rehearsal {

namespace {

constexpr const char* version = "1.4.2";
constexpr std::uint64_t payloadFiles = 500;
constexpr std::uint64_t payloadBytes = 60'000'000;

// With a speed the feed comes slowly as well, so that the check can be seen.
std::string limits(const std::string& bytesPerSecond, std::uint64_t crawlAfter) {
    if (crawlAfter > 0) {
        return "location ~ [.]dmg$ { limit_rate_after " + std::to_string(crawlAfter) +
               "; limit_rate 1000; }\n";
    }
    if (bytesPerSecond.empty()) {
        return {};
    }
    return "location ~ [.]dmg$ { limit_rate " + bytesPerSecond + "; }\n" +
           "location ~ [.]yml$ { limit_rate 200; }\n";
}

// Lays the release out below the document root. A feed of somebody else's stays where it is.
void provideRelease(const Config& config, const std::filesystem::path& feed,
                    const std::filesystem::path& documents, const Platform& platform) {
    if (feed.empty()) {
        writeSampleRelease(config,
                           {.version = version, .payloadFiles = payloadFiles, .payloadBytes = payloadBytes},
                           documents, platform);
        return;
    }
    const std::filesystem::path channel = config.url(config.channelURL).path();
    if (!std::filesystem::is_regular_file(feed / channel.filename())) {
        throw std::runtime_error("there is no " + channel.filename().string() + " in " + feed.string());
    }
    const auto folder = documents / channel.parent_path().relative_path();
    const auto link = folder.has_filename() ? folder : folder.parent_path();
    std::filesystem::create_directories(link.parent_path());
    std::filesystem::remove(link);
    std::filesystem::create_directory_symlink(std::filesystem::canonical(feed), link);
}

// An application that somebody has installed before.
void installApplication(const Config& config, const std::string& installed, const RehearsalRoot& root) {
    const std::filesystem::path bundle = makeSampleApplication(
        {.version = installed, .bundleIdentifier = config.bundleID}, root.applications());
    signSampleApplication(bundle);
}

std::uint16_t portNumber(std::uint64_t number) {
    if (number > std::numeric_limits<std::uint16_t>::max()) {
        throw std::runtime_error("there is no port " + std::to_string(number));
    }
    return static_cast<std::uint16_t>(number);
}

int serve(const Config& config, const CommandLine& line) {
    const auto directory = std::filesystem::absolute(line.operands[0]);
    const RehearsalRoot root(directory / "root");
    root.install();
    const LinuxHost host(root.home());
    if (const std::string installed = line.option("--installed"); !installed.empty()) {
        installApplication(config, installed, root);
    }
    const auto documents = directory / "release";
    const auto work = directory / "server";
    std::filesystem::create_directories(work);
    provideRelease(config, line.option("--feed"), documents, host.platform());
    const CertificateAuthority authority;
    writePrivateFile(directory / "authority.pem", authority.certificate());
    ReleaseServer nginx({.directory = work,
                         .documentRoot = documents,
                         .certificate = authority.issue(config.allowedHosts),
                         .http2 = true,
                         .locations = limits(line.operands.size() > 1 ? line.operands[1] : "",
                                             line.number("--crawl-after", 0)),
                         .port = portNumber(line.number("--port", 0))});
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
    using namespace InstallerCore::Rehearsal;
    return runProgram({.name = "serve-release",
                       .usage = "usage: serve-release DIRECTORY [BYTES-PER-SECOND] [--feed DIRECTORY] "
                                "[--configuration FILE] [--port PORT] [--bundle-identifier ID] "
                                "[--installed VERSION] [--crawl-after BYTES]\n",
                       .options = {"--feed", "--configuration", "--port", "--bundle-identifier",
                                   "--installed", "--crawl-after"},
                       .mostOperands = 2},
                      count, arguments, serve);
}
