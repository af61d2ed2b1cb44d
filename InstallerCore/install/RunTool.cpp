#include "InstallerCore/install/RunTool.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/platform/Processes.h"

namespace InstallerCore {

Bytes run(const std::string& executable, const std::vector<std::string>& arguments,
          const Platform& platform) {
    ProcessResult result = platform.processes.run(executable, arguments, Processes::ErrorOutput::inherited);
    if (result.status != 0) {
        const std::string name = executable.substr(executable.rfind('/') + 1);
        throw InstallerError::message(ErrorText::toolFailed(name, result.status));
    }
    return std::move(result.output);
}

} // namespace InstallerCore
