// How soon the installer's window is there, against an empty window of Qt's of the same size: from the start
// of the process to the first picture on the screen. And what the window costs while the bar pulses and the
// video plays, as a part of one core.
#include "bench/InstallerMachine.h"
#include "bench/Measure.h"
#include "bench/VirtualDisplay.h"
#include "rehearsal/LoopbackListener.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>

using namespace InstallerCore;

namespace {

using SteadyClock = std::chrono::steady_clock;

// The user's and the system's time of the process up to now, in seconds.
double processorSeconds(pid_t process) {
    constexpr int fieldsBefore = 11; // behind the name in brackets
    const std::string line = Testing::readFile("/proc/" + std::to_string(process) + "/stat");
    std::istringstream fields(line.substr(line.rfind(')') + 1));
    std::string skipped;
    for (int field = 0; field < fieldsBefore; ++field) {
        fields >> skipped;
    }
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

// The release server takes every connection and never says a word, so that the installer goes on checking.
class WindowBench {
public:
    WindowBench() { machine_.connect(silent_.port(), ""); }

    void compareFirstPictures() const {
        Bench::compare(
            {.name = "start to the window's first picture",
             .baseline = "an empty window of Qt's",
             .wallTarget = 3,
             .processorTarget = 4},
            15, [this] { return untilPicture(machine_.installer()); },
            [this] { return untilPicture({EMPTY_WINDOW}); });
    }

    void measurePulse() const {
        constexpr int observed = 20;
        machine_.clear();
        const pid_t installer = Bench::startProgram(machine_.installer());
        display_.waitForPicture();
        std::this_thread::sleep_for(std::chrono::seconds(2)); // all that comes with the start
        const double before = processorSeconds(installer);
        const double serverBefore = processorSeconds(display_.process());
        const auto start = SteadyClock::now();
        std::this_thread::sleep_for(std::chrono::seconds(observed));
        const double used = processorSeconds(installer) - before;
        const double serverUsed = processorSeconds(display_.process()) - serverBefore;
        const double wall = std::chrono::duration<double>(SteadyClock::now() - start).count();
        static_cast<void>(Bench::endProgram(installer, SIGKILL));
        std::printf("pulsing bar and playing video against one core, %d s\n", observed);
        std::printf("  processor time ratio %.3f (wanted at most 0.10); the X server's beside it %.3f\n",
                    used / wall, serverUsed / wall);
    }

private:
    [[nodiscard]] Bench::Usage untilPicture(const std::vector<std::string>& program) const {
        machine_.clear();
        display_.waitForNoPicture();
        const auto start = SteadyClock::now();
        const pid_t process = Bench::startProgram(program);
        display_.waitForPicture();
        const std::chrono::duration<double> wall = SteadyClock::now() - start;
        Bench::Usage usage = Bench::endProgram(process, SIGKILL);
        usage.wallSeconds = wall.count();
        return usage;
    }

    Bench::VirtualDisplay display_;
    Bench::InstallerMachine machine_;
    Rehearsal::LoopbackListener silent_;
};

} // namespace

int main() {
    const WindowBench bench;
    bench.compareFirstPictures();
    bench.measurePulse();
}
