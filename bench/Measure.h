#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace InstallerCore::Bench {

// What a process used, measured by the operating system when it ended.
struct Usage {
    double wallSeconds = 0;
    double processorSeconds = 0;
    long peakKibibytes = 0;
};

// Runs the work in a forked child. Exits the benchmark when it fails.
[[nodiscard]] Usage measureChild(const std::function<void()>& work);

// Runs another program, its output thrown away. Exits the benchmark when it fails.
[[nodiscard]] Usage measureProgram(const std::vector<std::string>& arguments);

// Starts a program, its output thrown away, for one of the ends below. Exits the benchmark when it cannot.
[[nodiscard]] pid_t startProgram(const std::vector<std::string>& arguments);

// Ends it by a signal and waits; what it used, the wall time left out.
[[nodiscard]] Usage endProgram(pid_t program, int signal);

// Says what is missing, and exits.
[[noreturn]] void fail(const char* what);

[[nodiscard]] double median(std::vector<double> values);

// Runs the two in turn, ours first, and prints the median of each figure and of the ratios pair by pair:
// these machines are too noisy for single figures. The target is what the ratio should not pass, as a
// reminder.
struct Comparison {
    std::string name;
    std::string baseline;
    double wallTarget;
    double processorTarget;
};

struct Medians { // of the wall time, in seconds
    double ours;
    double baseline;
};

Medians compare(const Comparison& comparison, int rounds, const std::function<Usage()>& ours,
                const std::function<Usage()>& baseline);

} // namespace InstallerCore::Bench
