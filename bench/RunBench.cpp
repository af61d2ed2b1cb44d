// The whole installer, from the start of the process to its end with the application in place, for a release
// of 200 MB in 5,000 files that nginx serves on loopback, against a shell script that does the same with the
// usual programs: curl for the feed and the image, sha512sum, 7zz to unpack it, codesign-verify and spctl for
// each of the three verifications, cp -a into place. Wanted: at most 0.8 of its wall time.
#include "bench/InstallerMachine.h"
#include "bench/Measure.h"
#include "bench/VirtualDisplay.h"
#include "rehearsal/CertificateAuthority.h"
#include "rehearsal/ReleaseServer.h"
#include "rehearsal/SampleRelease.h"

#include <string>

using namespace InstallerCore;

namespace {

constexpr const char* script = R"(
route=$1 authority=$2 channel=$3 verify=$4 assess=$5 place=$6
fetch() { curl --silent --fail --noproxy '*' --connect-to "$route" --cacert "$authority" "$@"; }
check() { "$verify" "$1"; "$assess" --assess --type execute "$1"; }
fetch -o "$place/feed" "$channel"
image=$(sed -n 's/^  - url: \([^-]*-[0-9.]*dmg\)$/\1/p' "$place/feed")
fetch -o "$place/image.dmg" "${channel%/*}/$image"
sha512sum "$place/image.dmg"
7zz x -snld -y -o"$place/volume" "$place/image.dmg"
source=$(find "$place/volume" -maxdepth 2 -name Kavio.app)
check "$source"
mkdir "$place/staging"
cp -a "$source" "$place/staging/Kavio.app"
check "$place/staging/Kavio.app"
mv "$place/staging/Kavio.app" "$place/Kavio.app"
check "$place/Kavio.app"
rm -r "$place/volume" "$place/image.dmg"
)";

class RunBench {
public:
    RunBench() {
        std::filesystem::create_directory(machine_ / "server");
        Rehearsal::writeSampleRelease(
            machine_.config(),
            {.version = "1.0.0", .forLinux = false, .payloadFiles = 5'000, .payloadBytes = 200'000'000},
            machine_ / "release", machine_.platform());
    }

    void run() const {
        const Rehearsal::CertificateAuthority authority;
        const Rehearsal::ReleaseServer server(
            {.directory = machine_ / "server",
             .documentRoot = machine_ / "release",
             .certificate = authority.issue(machine_.config().allowedHosts)});
        machine_.connect(server.port(), authority.certificate());
        Bench::compare(
            {.name = "whole run, 200 MB in 5,000 files",
             .baseline = "curl; sha512sum; 7zz x; 3 times codesign-verify and spctl; cp -a",
             .wallTarget = 0.8,
             .processorTarget = 1.15},
            5, [this] { return ours(); }, [&] { return scripts(server.port()); });
    }

private:
    [[nodiscard]] Bench::Usage ours() const {
        machine_.clear();
        const Bench::Usage usage = Bench::measureProgram(machine_.installer());
        if (!std::filesystem::exists(machine_.applications() / "Kavio.app")) {
            Bench::fail("the installer has not installed");
        }
        return usage;
    }

    [[nodiscard]] Bench::Usage scripts(std::uint16_t port) const {
        const auto place = machine_ / "script";
        std::filesystem::remove_all(place);
        std::filesystem::create_directory(place);
        const Config& config = machine_.config();
        return Bench::measureProgram({"/bin/sh", "-ec", script, "sh", "::127.0.0.1:" + std::to_string(port),
                                      machine_ / "authority.pem", config.channelURL, CODESIGN_VERIFY,
                                      machine_ / "root/usr/sbin/spctl", place});
    }

    Bench::VirtualDisplay display_;
    Bench::InstallerMachine machine_;
};

} // namespace

int main() {
    RunBench().run();
}
