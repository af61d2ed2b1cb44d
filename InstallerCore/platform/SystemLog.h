#pragma once

#include <string_view>

namespace InstallerCore {

// The operating system's log. May be called from any thread.
class SystemLog {
public:
    virtual ~SystemLog() = default;

    // One line without its line break; never fails visibly.
    virtual void write(std::string_view line) noexcept = 0;
};

} // namespace InstallerCore
