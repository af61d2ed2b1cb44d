#include "InstallerCore/config/BuildConfig.h"

namespace InstallerCore {

// Linked in place of what the build makes: base64 of "{".
const std::string_view BuildConfig::base64 = "ew==";

const std::string_view BuildConfig::installerIdentifier = "test.installer";

} // namespace InstallerCore
