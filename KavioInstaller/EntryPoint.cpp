#include "KavioInstaller/EntryPoint.h"

#include "InstallerCore/support/PlatformError.h"

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

} // namespace InstallerCore
