#include "tests/support/FakeProcesses.h"

#include "InstallerCore/support/PlatformError.h"

namespace InstallerCore::Testing {

ProcessResult FakeProcesses::run(const std::string& executable, const Arguments& arguments,
                                 ErrorOutput errors) {
    calls.push_back({.executable = executable, .arguments = arguments, .errors = errors, .detached = false});
    const auto tool = tools.find(executable);
    if (tool == tools.end()) {
        throw PlatformError(ProcessErrorCode::noSuchExecutable);
    }
    return tool->second(arguments);
}

void FakeProcesses::startDetached(const std::string& executable, const Arguments& arguments) {
    calls.push_back({.executable = executable, .arguments = arguments, .errors = {}, .detached = true});
    if (detachedFailure) {
        std::rethrow_exception(detachedFailure);
    }
}

} // namespace InstallerCore::Testing
