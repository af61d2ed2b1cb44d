#pragma once

#include "InstallerCore/platform/Platform.h"

#include <string>

namespace InstallerCore {

// This machine's architecture in the words of the release feed: "arm64" or "x64". Never fails.
[[nodiscard]] std::string nativeArch(const Platform& platform = Platform::host());

} // namespace InstallerCore
