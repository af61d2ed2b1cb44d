#include "InstallerCore/config/BuildConfig.h"

namespace InstallerCore {

// Linked in place of what the build makes: "{}" without its padding.
const std::string_view BuildConfig::base64 = "e30";

const std::string_view BuildConfig::installerIdentifier = "test.installer";

} // namespace InstallerCore
