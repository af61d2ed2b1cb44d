#pragma once

#include "InstallerCore/support/PlatformError.h"

#include <curl/curl.h>

namespace InstallerCore {

// The one place where libcurl's codes become PlatformErrors of the URL-loading domain.
[[nodiscard]] PlatformError urlError(CURLcode code);

} // namespace InstallerCore
