#pragma once

#include "InstallerCore/localization/InstallerMessage.h"

#include <map>
#include <string>

namespace InstallerCore::Testing {

// What the installer says in each of its languages: tag to message to text.
using ShippedCatalog = std::map<std::string, std::map<InstallerMessage, std::string>>;
[[nodiscard]] ShippedCatalog shippedCatalog();

// The languages that are laid out from right to left.
[[nodiscard]] bool isRightToLeft(const std::string& language);

// Whether the message is shown in the error look.
[[nodiscard]] bool isError(InstallerMessage message);

} // namespace InstallerCore::Testing
