// verifyStatic() on a signed application of 200 MB in 5,000 files against two openssl processes that share
// the same bytes, each hashing its half of the files. Wanted: at most 1.1 of their wall time.
#include "bench/Measure.h"
#include "hosts/linux/codesign/StaticVerification.h"
#include "rehearsal/SampleApplication.h"
#include "rehearsal/SampleSignature.h"
#include "tests/support/TemporaryDirectory.h"

#include <ctime>
#include <filesystem>
#include <string>

using namespace InstallerCore;

namespace {

// Every second file each; the files are of one size.
constexpr const char* twoProcesses = R"(
half() { find "$1" -type f | awk "NR % 2 == $2" | tr '\n' '\0' | xargs -0 openssl dgst -sha256; }
half "$1" 0 & half "$1" 1; wait
)";

} // namespace

int main() {
    const Testing::TemporaryDirectory directory;
    const auto application = Rehearsal::makeSampleApplication(
        {.payloadFiles = 5'000, .payloadBytes = 200'000'000}, directory.path());
    Rehearsal::signSampleApplication(application);
    Bench::compare(
        {.name = "verifyStatic, 200 MB in 5,000 files",
         .baseline = "two openssl dgst -sha256",
         .wallTarget = 1.1,
         .processorTarget = 1.2},
        9,
        [&] {
            return Bench::measureChild([&] {
                static_cast<void>(CodeSign::verifyStatic(
                    application, nullptr, CodeSign::TrustRoots::ofBuild(), std::time(nullptr)));
            });
        },
        [&] { return Bench::measureProgram({"/bin/sh", "-ec", twoProcesses, "sh", application}); });
}
