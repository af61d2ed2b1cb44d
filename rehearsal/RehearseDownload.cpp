// Runs the core against a release server on loopback, from the configuration inside the program to a verified
// image in the cache: a first run that is interrupted half-way, and a second one that resumes.
// Usage: rehearse-download DIRECTORY (which holds everything that is written)
#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/download/DownloadCache.h"
#include "InstallerCore/download/Downloader.h"
#include "InstallerCore/events/InstallerEvents.h"
#include "InstallerCore/feed/UpdateFeed.h"
#include "InstallerCore/install/InstanceLock.h"
#include "InstallerCore/install/NativeArch.h"
#include "InstallerCore/install/PendingInstallation.h"
#include "InstallerCore/platform/Platform.h"
#include "KavioInstaller/EntryPoint.h"
#include "hosts/linux/LinuxHost.h"
#include "rehearsal/LoopbackHttp.h"
#include "rehearsal/ReleaseServer.h"
#include "rehearsal/SampleRelease.h"

#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

namespace InstallerCore::Rehearsal {

namespace {

constexpr const char* version = "1.4.2";
constexpr std::size_t imageSize = std::size_t{64} << 20U;

void say(const std::string& line) {
    std::cout << line << std::endl; // NOLINT(performance-avoid-endl): somebody is watching
}

void sayFile(const std::filesystem::path& file) {
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        say("  " + line);
    }
}

// Prints each tenth of the way once.
class ProgressPrinter {
public:
    void report(std::int64_t received, std::int64_t total) {
        const std::int64_t tenth = received * 10 / total;
        if (tenth > lastTenth_) {
            lastTenth_ = tenth;
            say("  " + std::to_string(tenth * 10) + " %  " + std::to_string(received) + " of " +
                std::to_string(total) + " bytes");
        }
    }

private:
    std::int64_t lastTenth_ = -1;
};

// One run of the installer as far as the verified image.
void fetchRelease(const Config& config, const std::shared_ptr<Cancellation>& cancellation,
                  std::int64_t cancelAt, const Platform& platform) {
    const std::filesystem::path cache = privateCache(platform);
    const auto lock = takeInstanceLock(cache, platform);
    InstallerEvents::record("installer_opened", std::nullopt, platform);
    if (PendingInstallation::shouldResume(cache, config.channelURL, platform)) {
        say("An earlier run was left unfinished; going on with it.");
        InstallerEvents::record("pending_install_resumed", std::nullopt, platform);
    }
    PendingInstallation::begin(cache, config.channelURL, platform);

    const Downloader downloader(config, cancellation, nullptr, platform);
    const Manifest manifest = readUpdateFeed(downloader.manifest(), config);
    const Artifact artifact = manifest.artifact(nativeArch(platform));
    say("The feed offers " + artifact.url);
    InstallerEvents::record("manifest_resolved", artifact.appVersion, platform);
    cleanExpiredDownloads(cache, platform);

    const std::filesystem::path image = cache / (artifact.sha512 + ".dmg");
    InstallerEvents::record("payload_started", artifact.appVersion, platform);
    ProgressPrinter printer;
    downloader.download(artifact, image, [&](std::int64_t received, std::int64_t total) {
        printer.report(received, total);
        if (received >= cancelAt) {
            cancellation->cancel();
        }
    });
    cancellation->check();
    InstallerEvents::record("payload_verified", artifact.appVersion, platform);
    say("Verified by SHA-512: " + artifact.sha512.substr(0, 16) + "...");
}

enum class Outcome { verified, cancelled, failed };

Outcome runOnce(const Config& config, std::int64_t cancelAt, const Platform& platform) {
    const auto cancellation = std::make_shared<Cancellation>();
    try {
        fetchRelease(config, cancellation, cancelAt, platform);
        return Outcome::verified;
    } catch (const std::exception& error) {
        say(std::string("Ended: ") + error.what());
        const bool cancelled = cancellation->isCancelled();
        InstallerEvents::record(cancelled ? "cancelled" : "installer_failed", std::nullopt, platform);
        return cancelled ? Outcome::cancelled : Outcome::failed;
    }
}

int rehearse(const Config& config, const std::filesystem::path& directory) {
    const std::filesystem::path home = directory / "home";
    const std::filesystem::path server = directory / "server";
    const std::filesystem::path documents = directory / "release";
    for (const auto& path : {home, server, documents}) {
        std::filesystem::create_directories(path);
    }

    const LinuxHost host(home);
    say("Making a release of two images of " + std::to_string(imageSize >> 20U) + " MiB.");
    writeSampleRelease(config, version, imageSize, host.platform().digests, documents);

    const CertificateAuthority authority;
    writePrivateFile(directory / "authority.pem", authority.certificate());
    ReleaseServer nginx({.directory = server,
                         .documentRoot = documents,
                         .certificate = authority.issue(config.allowedHosts),
                         .http2 = true,
                         .locations = ""});
    LoopbackHttp http(config.allowedHosts, nginx.port(), directory / "authority.pem");
    const Platform platform = over(http, host.platform());

    say("\nFirst run, interrupted half-way:");
    const Outcome first = runOnce(config, imageSize / 2, platform);
    say("\nSecond run:");
    const Outcome second = runOnce(config, imageSize * 2, platform);

    say("\nWhat the server was asked:");
    bool resumed = false;
    for (const std::string& request : nginx.stop()) {
        say("  " + request);
        resumed = resumed || request.find(" 206 [bytes=") != std::string::npos;
    }
    say("\nThe event log:");
    sayFile(privateCache(platform) / "events.jsonl");
    if (first == Outcome::cancelled && second == Outcome::verified && resumed) {
        return 0;
    }
    say("\nThis is not how it should have gone: interrupted, then resumed and verified.");
    return 1;
}

} // namespace

} // namespace InstallerCore::Rehearsal

int main(int argc, char** argv) {
    if (argc != 2 || argv[1][0] == '-') {
        std::cerr << "Usage: rehearse-download DIRECTORY\n";
        return 2;
    }
    const std::filesystem::path directory = std::filesystem::absolute(argv[1]);
    try {
        return InstallerCore::runWithConfiguration(
            InstallerCore::BuildConfig::json(), std::cerr, [&](const InstallerCore::Config& config) {
                return InstallerCore::Rehearsal::rehearse(config, directory);
            });
    } catch (const std::exception& error) {
        std::cerr << "The rehearsal cannot run: " << error.what() << '\n';
        return 1;
    }
}
