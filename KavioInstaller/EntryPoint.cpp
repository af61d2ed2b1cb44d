#include "KavioInstaller/EntryPoint.h"

#include "InstallerCore/support/PlatformError.h"

#include <exception>
#include <optional>
#include <ostream>

namespace InstallerCore {

int runWithConfiguration(ByteView json, std::ostream& errors,
                         const std::function<int(const Config&)>& application) {
    std::optional<Config> config;
    try {
        config = Config::decode(json);
    } catch (const PlatformError& error) {
        errors << "Invalid installer configuration: " << error.what() << '\n' << std::flush;
        return 1;
    }
    return application(*config);
}

int startInstaller(ByteView json, std::ostream& errors,
                   const std::function<int(const Config&)>& application) {
    try {
        return runWithConfiguration(json, errors, application);
    } catch (const std::exception& error) {
        errors << "The installer cannot start: " << error.what() << '\n' << std::flush;
        return 1;
    }
}

} // namespace InstallerCore
