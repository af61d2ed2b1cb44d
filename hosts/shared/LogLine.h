#pragma once

#include "InstallerCore/support/Ascii.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace InstallerCore {

// The text as one line of a log: a server may have sent what stands in it.
[[nodiscard]] inline std::string logLine(std::string_view text) {
    std::string line(text);
    std::replace_if(line.begin(), line.end(), Ascii::isControl, ' ');
    return line;
}

} // namespace InstallerCore
