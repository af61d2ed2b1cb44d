// Installing an application of 200 MB in 5,000 files, from the image to the installed copy, against a shell
// script that does the same work with the usual programs: sha512sum of the image, 7zz to unpack it, openssl
// dgst -sha256 over the tree for each of the three verifications, cp -a into place. Wanted: at most 0.8 of
// its wall time. The signatures are checked for real; the execution policy, which would check them once more
// each time, is left out, as the script has nothing like it.
#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/download/HashFile.h"
#include "InstallerCore/install/Installation.h"
#include "bench/Measure.h"
#include "hosts/linux/LinuxHost.h"
#include "rehearsal/SampleImage.h"
#include "rehearsal/SampleSignature.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <string>

using namespace InstallerCore;

namespace {

constexpr const char* version = "1.0.0";

class InstallBench {
public:
    InstallBench() {
        for (const char* place : {"usr/bin", "usr/sbin", "Volumes", "Applications", "script"}) {
            std::filesystem::create_directories(root_ / place);
        }
        std::filesystem::copy(HDIUTIL, hdiutil());
        Testing::writeFile(root_ / "usr/sbin/spctl", "#!/bin/sh\nexit 0\n");
        std::filesystem::permissions(root_ / "usr/sbin/spctl", std::filesystem::perms::owner_all);
        Rehearsal::makeSampleImage({.version = version, .payloadFiles = 5'000, .payloadBytes = 200'000'000},
                                   image(), {.arrange = [](const std::filesystem::path& volume) {
                                       Rehearsal::signSampleApplication(volume / "Kavio.app");
                                   }});
        digest_ = hashFile(image(), host_.platform());
    }

    void run() {
        constexpr int rounds = 5;
        Bench::compare(
            {.name = "install, 200 MB in 5,000 files",
             .baseline = "sha512sum; 7zz x; 3 times openssl dgst -sha256; cp -a",
             .wallTarget = 0.8,
             .processorTarget = 1.0},
            rounds, [this] { return ours(); }, [this] { return scripts(); });
    }

private:
    [[nodiscard]] std::filesystem::path hdiutil() const { return root_ / "usr/bin/hdiutil"; }

    [[nodiscard]] std::filesystem::path image() const { return root_ / "Kavio.dmg"; }

    [[nodiscard]] Bench::Usage ours() {
        const auto applications = root_ / "Applications";
        std::filesystem::remove_all(applications);
        std::filesystem::create_directory(applications);
        return Bench::measureChild([&] {
            const Platform& host = host_.platform();
            const Platform platform{host.http,
                                    host.files,
                                    host.digests,
                                    host.clock,
                                    host.system,
                                    host.log,
                                    host.folders,
                                    host.processes,
                                    host.propertyLists,
                                    host.codeSigning,
                                    host.workspace,
                                    host.languages,
                                    host.resources,
                                    {.hdiutil = hdiutil(),
                                     .ditto = DITTO,
                                     .spctl = root_ / "usr/sbin/spctl",
                                     .volumes = root_ / "Volumes"}};
            const Artifact artifact{
                .arch = "x64", .appVersion = version, .installedSizeBytes = 200'000'000, .sha512 = digest_};
            const Installation installation(Config::decode(BuildConfig::json()), platform);
            installation.install(image(), artifact, applications, [](InstallerMessage) {});
        });
    }

    [[nodiscard]] Bench::Usage scripts() const {
        const auto place = root_ / "script";
        std::filesystem::remove_all(place);
        std::filesystem::create_directory(place);
        return Bench::measureProgram(
            {"/bin/sh", "-ec",
             "hash() { find \"$1\" -type f -print0 | xargs -0 openssl dgst -sha256; }\n"
             "sha512sum \"$1\"\n"
             "7zz x -snld -y -o\"$2/volume\" \"$1\"\n"
             "source=$(find \"$2/volume\" -maxdepth 2 -name Kavio.app)\n"
             "hash \"$source\"\n"
             "mkdir \"$2/staging\"\n"
             "cp -a \"$source\" \"$2/staging/Kavio.app\"\n"
             "hash \"$2/staging/Kavio.app\"\n"
             "mv \"$2/staging/Kavio.app\" \"$2/Kavio.app\"\n"
             "hash \"$2/Kavio.app\"\n",
             "sh", image(), place});
    }

    Testing::TemporaryDirectory root_;
    LinuxHost host_{root_.path()};
    std::string digest_;
};

} // namespace

int main() {
    InstallBench().run();
}
