// hashFile() against openssl's own command on the same warm file of 1 GiB. Wanted: a throughput of at least
// 0.97 of openssl's, that is at most 1/0.97 of its time.
#include "InstallerCore/download/HashFile.h"
#include "bench/Measure.h"
#include "hosts/linux/LinuxHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <fstream>
#include <random>

using namespace InstallerCore;

int main() {
    constexpr int mebibytes = 1024;
    const Testing::TemporaryDirectory directory;
    const auto file = directory / "image";
    {
        std::ofstream stream(file, std::ios::binary);
        std::mt19937_64 random(1); // NOLINT(cert-msc51-cpp): the same content every time
        std::string block(1 << 20, '\0');
        for (int i = 0; i < mebibytes; ++i) {
            for (char& c : block) {
                c = static_cast<char>(random());
            }
            stream << block;
        }
    }
    const LinuxHost host;
    Bench::compare(
        {.name = "hashFile, 1 GiB",
         .baseline = "openssl dgst -sha512",
         .wallTarget = 1 / 0.97,
         .processorTarget = 1 / 0.97},
        5, [&] { return Bench::measureChild([&] { static_cast<void>(hashFile(file, host.platform())); }); },
        [&] { return Bench::measureProgram({"openssl", "dgst", "-sha512", file.string()}); });
}
