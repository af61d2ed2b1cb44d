#pragma once

#include <string>

namespace InstallerCore {

// A random (version 4) UUID, RFC 9562, in lower case with hyphens: 36 characters. Any thread.
[[nodiscard]] std::string randomUuid();

} // namespace InstallerCore
