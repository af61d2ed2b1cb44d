#pragma once

#include "InstallerCore/platform/Processes.h"

#include <exception>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// Tools of which a test says what they do. One that it does not know fails to launch.
class FakeProcesses final : public Processes {
public:
    using Arguments = std::vector<std::string>;
    using Tool = std::function<ProcessResult(const Arguments&)>;

    struct Call {
        std::string executable;
        Arguments arguments;
        ErrorOutput errors = ErrorOutput::inherited;
        bool detached = false;

        friend bool operator==(const Call&, const Call&) = default;
    };

    std::map<std::string, Tool> tools; // by executable
    std::vector<Call> calls;           // in order
    std::exception_ptr detachedFailure;

    [[nodiscard]] ProcessResult run(const std::string& executable, const Arguments& arguments,
                                    ErrorOutput errors) override;
    void startDetached(const std::string& executable, const Arguments& arguments) override;

    [[nodiscard]] std::int64_t ownIdentifier() const noexcept override { return 4'711; }
};

} // namespace InstallerCore::Testing
