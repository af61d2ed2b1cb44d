#include "bench/Measure.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace InstallerCore::Bench {

namespace {

using SteadyClock = std::chrono::steady_clock;

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

Usage waitFor(pid_t child, SteadyClock::time_point start) {
    int status = 0;
    rusage usage{};
    if (::wait4(child, &status, 0, &usage) != child || status != 0) {
        fail("a measured process failed");
    }
    const std::chrono::duration<double> wall = SteadyClock::now() - start;
    return {.wallSeconds = wall.count(),
            .processorSeconds = seconds(usage.ru_utime) + seconds(usage.ru_stime),
            .peakKibibytes = usage.ru_maxrss};
}

void silence() {
    const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    ::dup2(null, STDOUT_FILENO);
    ::dup2(null, STDERR_FILENO);
}

std::string ratioLine(const char* figure, const std::vector<double>& ratios, double target) {
    char line[128];
    const auto [low, high] = std::minmax_element(ratios.begin(), ratios.end());
    std::snprintf(line, sizeof line, "  %-14s ratio %.3f (%.3f to %.3f, wanted at most %.2f)\n", figure,
                  median(ratios), *low, *high, target);
    return line;
}

} // namespace

void fail(const char* what) {
    std::fprintf(stderr, "benchmark: %s\n", what);
    std::exit(1);
}

Usage measureChild(const std::function<void()>& work) {
    std::fflush(nullptr);
    const auto start = SteadyClock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            work();
            ::_exit(0);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "benchmark: %s\n", error.what());
            ::_exit(1);
        }
    }
    return waitFor(child, start);
}

pid_t startProgram(const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        fail("no process can be started");
    }
    if (child == 0) {
        silence();
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    return child;
}

Usage measureProgram(const std::vector<std::string>& arguments) {
    const auto start = SteadyClock::now();
    return waitFor(startProgram(arguments), start);
}

Usage endProgram(pid_t program, int signal) {
    ::kill(program, signal);
    rusage usage{};
    if (::wait4(program, nullptr, 0, &usage) != program) {
        fail("a measured process is gone");
    }
    return {.processorSeconds = seconds(usage.ru_utime) + seconds(usage.ru_stime),
            .peakKibibytes = usage.ru_maxrss};
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Medians compare(const Comparison& comparison, int rounds, const std::function<Usage()>& ours,
                const std::function<Usage()>& baseline) {
    std::vector<double> ourWall;
    std::vector<double> baseWall;
    std::vector<double> wallRatios;
    std::vector<double> processorRatios;
    static_cast<void>(ours()); // warm both
    static_cast<void>(baseline());
    for (int round = 0; round < rounds; ++round) {
        const Usage mine = ours();
        const Usage theirs = baseline();
        ourWall.push_back(mine.wallSeconds);
        baseWall.push_back(theirs.wallSeconds);
        wallRatios.push_back(mine.wallSeconds / theirs.wallSeconds);
        processorRatios.push_back(mine.processorSeconds / theirs.processorSeconds);
    }
    std::printf("%s against %s: %.3f s against %.3f s, medians of %d\n", comparison.name.c_str(),
                comparison.baseline.c_str(), median(ourWall), median(baseWall), rounds);
    std::fputs(ratioLine("wall time", wallRatios, comparison.wallTarget).c_str(), stdout);
    std::fputs(ratioLine("processor time", processorRatios, comparison.processorTarget).c_str(), stdout);
    return {.ours = median(ourWall), .baseline = median(baseWall)};
}

} // namespace InstallerCore::Bench
