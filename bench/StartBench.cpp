// From the start of the installer to its end where the application, 200 MB in 5,000 files, is installed
// already: it verifies it, opens it and quits without a window. Against the verification alone, by the
// programs that do it: codesign-verify and spctl. What is more than that is our own work, Qt's start the most
// of it.
#include "bench/InstallerMachine.h"
#include "bench/Measure.h"
#include "bench/VirtualDisplay.h"
#include "rehearsal/SampleApplication.h"
#include "rehearsal/SampleSignature.h"

#include <cstdio>

using namespace InstallerCore;

int main() {
    const Bench::VirtualDisplay display;
    const Bench::InstallerMachine machine;
    machine.connect(1, ""); // nobody is asked
    const auto application = Rehearsal::makeSampleApplication(
        {.forLinux = false, .payloadFiles = 5'000, .payloadBytes = 200'000'000}, machine.applications());
    Rehearsal::signSampleApplication(application);
    const auto medians = Bench::compare(
        {.name = "start with an installed application",
         .baseline = "codesign-verify; spctl --assess",
         .wallTarget = 1.3,
         .processorTarget = 1.3},
        9, [&] { return Bench::measureProgram(machine.installer()); },
        [&] {
            return Bench::measureProgram({"/bin/sh", "-ec",
                                          "\"$1\" \"$3\"; \"$2\" --assess --type execute \"$3\"", "sh",
                                          CODESIGN_VERIFY, machine / "root/usr/sbin/spctl", application});
        });
    std::printf("  our own work   %.3f s\n", medians.ours - medians.baseline);
}
