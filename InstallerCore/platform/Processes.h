#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace InstallerCore {

struct ProcessResult {
    int status = 0; // as it exited; of a process that a signal ended, the number of the signal
    Bytes output;   // all of its standard output
};

// Starting other programs, always by an absolute path and a vector of arguments, never through a shell. A
// child inherits nothing but its standard streams. Whatever cannot be started is a PlatformError of the
// process-launch domain. May be called from any thread.
class Processes {
public:
    enum class ErrorOutput { inherited, discarded };

    virtual ~Processes() = default;

    // Runs the program and waits for its end, however long that takes.
    [[nodiscard]] virtual ProcessResult
    run(const std::string& executable, const std::vector<std::string>& arguments, ErrorOutput errors) = 0;

    // Starts a program that goes on by itself, also after this process: in "/", all its streams closed off,
    // in a session of its own.
    virtual void startDetached(const std::string& executable, const std::vector<std::string>& arguments) = 0;

    [[nodiscard]] virtual std::int64_t ownIdentifier() const noexcept = 0;
};

} // namespace InstallerCore
