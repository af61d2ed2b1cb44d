// Runs the core against a release server on loopback, from the configuration inside the program to the
// installed application: a first run that is interrupted half-way, and a second one that resumes and
// installs. Usage: rehearse-release DIRECTORY (which holds everything that is written)
#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/download/DownloadCache.h"
#include "InstallerCore/download/Downloader.h"
#include "InstallerCore/events/InstallerEvents.h"
#include "InstallerCore/feed/UpdateFeed.h"
#include "InstallerCore/install/ApplicationMetadata.h"
#include "InstallerCore/install/Installation.h"
#include "InstallerCore/install/InstanceLock.h"
#include "InstallerCore/install/NativeArch.h"
#include "InstallerCore/install/PendingInstallation.h"
#include "InstallerCore/platform/Platform.h"
#include "KavioInstaller/EntryPoint.h"
#include "hosts/linux/LinuxHost.h"
#include "rehearsal/LoopbackHttp.h"
#include "rehearsal/RehearsalRoot.h"
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
constexpr std::uint64_t payloadFiles = 500;
constexpr std::uint64_t payloadBytes = 100'000'000;

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

// Where somebody closes the installer in the middle of the download.
enum class Interruption { none, halfWay };

// The image in the cache goes into the applications directory, and out of the cache.
void install(const Config& config, const Artifact& artifact, const std::filesystem::path& image,
             const std::filesystem::path& applications, const Platform& platform) {
    const Installation installation(config, platform);
    InstallerEvents::record("install_started", artifact.appVersion, platform);
    const auto application =
        installation.install(image, artifact, applications, [](InstallerMessage message) {
            say(message == InstallerMessage::verifying ? "Verifying the application..." : "Installing it...");
        });
    InstallerEvents::record("install_succeeded", artifact.appVersion, platform);
    const bool removed = DownloadCache::removeInstalledPackage(image, platform);
    InstallerEvents::record(removed ? "payload_cache_removed" : "payload_cache_cleanup_deferred",
                            std::nullopt, platform);
    const auto metadata = ApplicationMetadata::read(application, platform);
    say("Installed: " + metadata.bundleID + " " + metadata.version + " in " +
        application.parent_path().filename().string());
}

// One run of the installer.
void runInstaller(const Config& config, const std::shared_ptr<Cancellation>& cancellation,
                  Interruption interruption, const std::filesystem::path& applications,
                  const Platform& platform) {
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
    Installation(config, platform).recover(applications, false);

    const std::filesystem::path image = cache / (artifact.sha512 + ".dmg");
    InstallerEvents::record("payload_started", artifact.appVersion, platform);
    ProgressPrinter printer;
    downloader.download(artifact, image, [&](std::int64_t received, std::int64_t total) {
        printer.report(received, total);
        if (interruption == Interruption::halfWay && received >= total / 2) {
            cancellation->cancel();
        }
    });
    cancellation->check();
    InstallerEvents::record("payload_verified", artifact.appVersion, platform);
    say("Verified by SHA-512: " + artifact.sha512.substr(0, 16) + "...");
    install(config, artifact, image, applications, platform);
    PendingInstallation::complete(cache, platform);
}

enum class Outcome { installed, cancelled, failed };

Outcome runOnce(const Config& config, Interruption interruption, const std::filesystem::path& applications,
                const Platform& platform) {
    const auto cancellation = std::make_shared<Cancellation>();
    try {
        runInstaller(config, cancellation, interruption, applications, platform);
        return Outcome::installed;
    } catch (const std::exception& error) {
        say(std::string("Ended: ") + error.what());
        const bool cancelled = cancellation->isCancelled();
        InstallerEvents::record(cancelled ? "cancelled" : "installer_failed", std::nullopt, platform);
        return cancelled ? Outcome::cancelled : Outcome::failed;
    }
}

// The services of this machine but for the network and the places.
Platform rehearsed(const Platform& host, Http& http, const SystemPaths& paths) {
    return {.http = http,
            .files = host.files,
            .digests = host.digests,
            .clock = host.clock,
            .system = host.system,
            .log = host.log,
            .folders = host.folders,
            .processes = host.processes,
            .propertyLists = host.propertyLists,
            .codeSigning = host.codeSigning,
            .workspace = host.workspace,
            .languages = host.languages,
            .resources = host.resources,
            .paths = paths};
}

int rehearse(const Config& config, const std::filesystem::path& directory) {
    const std::filesystem::path server = directory / "server";
    const std::filesystem::path documents = directory / "release";
    for (const auto& path : {server, documents}) {
        std::filesystem::create_directories(path);
    }

    const RehearsalRoot root(directory / "root");
    const LinuxHost host(root.home());
    say("Making a release: disk images of a signed sample application for both architectures.");
    writeSampleRelease(config,
                       {.version = version, .payloadFiles = payloadFiles, .payloadBytes = payloadBytes},
                       documents, host.platform());

    const CertificateAuthority authority;
    writePrivateFile(directory / "authority.pem", authority.certificate());
    ReleaseServer nginx({.directory = server,
                         .documentRoot = documents,
                         .certificate = authority.issue(config.allowedHosts),
                         .http2 = true,
                         .locations = ""});
    LoopbackHttp http(config.allowedHosts, nginx.port(), directory / "authority.pem");
    const Platform platform = rehearsed(host.platform(), http, root.paths());

    say("\nFirst run, interrupted half-way:");
    const Outcome first = runOnce(config, Interruption::halfWay, root.applications(), platform);
    say("\nSecond run:");
    const Outcome second = runOnce(config, Interruption::none, root.applications(), platform);

    say("\nWhat the server was asked:");
    bool resumed = false;
    for (const std::string& request : nginx.stop()) {
        say("  " + request);
        resumed = resumed || request.find(" 206 [bytes=") != std::string::npos;
    }
    say("\nThe event log:");
    sayFile(privateCache(platform) / "events.jsonl");
    if (first == Outcome::cancelled && second == Outcome::installed && resumed) {
        return 0;
    }
    say("\nThis is not how it should have gone: interrupted, then resumed and installed.");
    return 1;
}

} // namespace

} // namespace InstallerCore::Rehearsal

int main(int argc, char** argv) {
    if (argc != 2 || argv[1][0] == '-') {
        std::cerr << "Usage: rehearse-release DIRECTORY\n";
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
