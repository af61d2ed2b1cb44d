#pragma once

#include "tests/KavioInstaller/SteppedThread.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace InstallerCore::Testing {

using Lines = std::vector<std::string>;

// Everything that a flow did, in its order. What it did in the background begins with "bg ".
class FlowLog {
public:
    void add(const std::string& line) { lines_.push_back((SteppedThread::isCurrent() ? "bg " : "") + line); }

    [[nodiscard]] const Lines& lines() const { return lines_; }

    // What was added since the last call.
    [[nodiscard]] Lines take() { return std::exchange(lines_, {}); }

private:
    Lines lines_;
};

// Those that begin so.
[[nodiscard]] inline Lines only(const Lines& lines, const std::string& beginning) {
    Lines chosen;
    std::ranges::copy_if(lines, std::back_inserter(chosen),
                         [&](const std::string& line) { return line.starts_with(beginning); });
    return chosen;
}

} // namespace InstallerCore::Testing
