#pragma once

#include <string>
#include <string_view>

namespace InstallerCore {

// A random (version 4) UUID, RFC 9562, in lower case with hyphens: 36 characters. Any thread.
[[nodiscard]] std::string randomUuid();

// Whether the text is a UUID of any version in that form, in either letter case. Pure; any thread.
[[nodiscard]] bool isUuid(std::string_view text);

} // namespace InstallerCore
