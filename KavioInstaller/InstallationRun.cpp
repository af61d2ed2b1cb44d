#include "KavioInstaller/InstallationRun.h"

#include "InstallerCore/config/CompareVersion.h"
#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/CheckedArithmetic.h"

#include <string>

namespace InstallerCore {

namespace {

using Path = CoreOperations::Path;

constexpr std::int64_t headroomForDownload = 134'217'728;     // 128 MiB
constexpr std::int64_t headroomForInstallation = 536'870'912; // 512 MiB

Path imageIn(const Path& cache, const Artifact& artifact) {
    return cache / (artifact.sha512 + ".dmg");
}

} // namespace

InstallationRun::Result InstallationRun::run() {
    try {
        return attempt();
    } catch (...) {
        core_.record(cancellation_->isCancelled() ? "cancelled" : "installer_failed", std::nullopt);
        throw;
    }
}

InstallationRun::Result InstallationRun::attempt() {
    const Path cache = core_.privateCache();
    core_.begin(cache, config_.channelURL);
    const Artifact artifact = chooseArtifact();
    core_.record("manifest_resolved", artifact.appVersion);
    requireSystem(artifact);
    core_.cleanExpiredDownloads(cache);
    const Path image = imageIn(cache, artifact);
    if (const auto current = core_.existing(directory_, artifact.appVersion)) {
        static_cast<void>(core_.removeInstalledPackage(image));
        core_.complete(cache);
        return {.application = *current, .wasCurrent = true};
    }
    prepare(cache, artifact);
    download(artifact, image);
    return {.application = install(cache, artifact, image), .wasCurrent = false};
}

Artifact InstallationRun::chooseArtifact() const {
    const Bytes feed = core_.manifest(cancellation_);
    return core_.readUpdateFeed(feed).artifact(core_.nativeArch());
}

void InstallationRun::requireSystem(const Artifact& artifact) const {
    const SystemVersion version = core_.systemVersion();
    const std::string text = std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
                             std::to_string(version.patch);
    require(compareVersion(text, artifact.minOSVersion) >= 0, ErrorText::unsupportedSystem);
}

void InstallationRun::prepare(const Path& cache, const Artifact& artifact) const {
    require(core_.isWritable(directory_), ErrorText::applicationsNotWritable);
    core_.checkSpace(cache, checkedAdd(artifact.sizeBytes, headroomForDownload));
    core_.checkSpace(directory_, checkedAdd(checkedMultiply(artifact.installedSizeBytes, 2),
                                            headroomForInstallation)); // the new copy and the old one
    core_.recover(directory_, false);
}

void InstallationRun::download(const Artifact& artifact, const Path& image) {
    core_.record("payload_started", artifact.appVersion);
    core_.download(cancellation_, artifact, image,
                   [this](std::int64_t received, std::int64_t total) { reportDownload(received, total); });
    cancellation_->check();
    core_.record("payload_verified", artifact.appVersion);
}

void InstallationRun::reportDownload(std::int64_t received, std::int64_t total) {
    constexpr double interval = 0.2; // seconds
    const double now = core_.seconds();
    const bool tooSoon = now - lastReport_ < interval; // never true of what is no number
    if (tooSoon && received < total) {
        return;
    }
    lastReport_ = now;
    reports_.downloading(received, total);
}

Path InstallationRun::install(const Path& cache, const Artifact& artifact, const Path& image) const {
    reports_.willInstall();
    core_.record("install_started", artifact.appVersion);
    Path application = core_.install(image, artifact, directory_, reports_.installing);
    core_.record("install_succeeded", artifact.appVersion);
    const bool isRemoved = core_.removeInstalledPackage(image);
    core_.record(isRemoved ? "payload_cache_removed" : "payload_cache_cleanup_deferred", std::nullopt);
    core_.complete(cache);
    return application;
}

} // namespace InstallerCore
