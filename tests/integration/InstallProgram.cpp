#include "tests/integration/InstallProgram.h"

#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/download/DownloadCache.h"
#include "InstallerCore/install/Installation.h"
#include "InstallerCore/install/InstanceLock.h"
#include "hosts/linux/LinuxHost.h"

#include <fstream>
#include <iostream>
#include <iterator>

namespace InstallerCore::Testing {

namespace {

namespace fs = std::filesystem;

Artifact artifactIn(const fs::path& file) {
    std::ifstream stream(file);
    const std::string json{std::istreambuf_iterator<char>(stream), {}};
    return Artifact::decode(asBytes(json));
}

SystemPaths pathsBelow(const fs::path& root) {
    return {.hdiutil = root / "usr/bin/hdiutil",
            .ditto = root / "usr/bin/ditto",
            .spctl = root / "usr/sbin/spctl",
            .volumes = root / "Volumes"};
}

const char* start(const fs::path& root, const fs::path& release) {
    const LinuxHost host(root / "home");
    const Platform& real = host.platform();
    const Platform platform{real.http,          real.files,       real.digests,   real.clock,
                            real.system,        real.log,         real.folders,   real.processes,
                            real.propertyLists, real.codeSigning, real.workspace, real.languages,
                            real.resources,     pathsBelow(root)};
    Config config = Config::decode(BuildConfig::json());
    config.bundleID = InstallProgram::bundleIdentifier;
    const Artifact artifact = artifactIn(release / InstallProgram::artifactFile);
    const fs::path applications = root / "Applications";

    const fs::path cache = privateCache(platform);
    const auto lock = takeInstanceLock(cache, platform);
    const Installation installation(config, platform);
    if (installation.existing(applications, artifact.appVersion)) {
        return InstallProgram::current;
    }
    installation.recover(applications, false);
    installation.install(cache / (artifact.sha512 + ".dmg"), artifact, applications, [](InstallerMessage) {});
    return InstallProgram::installed;
}

} // namespace

} // namespace InstallerCore::Testing

int main(int count, char** arguments) {
    if (count != 3) {
        std::cerr << "usage: install-program ROOT RELEASE\n";
        return 2;
    }
    try {
        std::cout << InstallerCore::Testing::start(arguments[1], arguments[2]) << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::cout << error.what() << '\n';
        return 1;
    }
}
