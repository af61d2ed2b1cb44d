#pragma once

#include "InstallerCore/platform/Files.h"

#include <cstddef>
#include <string>

namespace InstallerCore {

// What the file holds from its position on. Throws PlatformError when it cannot be read or is longer than the
// limit in bytes; memory does not grow beyond that.
[[nodiscard]] Bytes readBytes(FileHandle& file, std::size_t limit);

// The whole of a small regular file as UTF-8 text. Throws PlatformError when it cannot be read, is longer
// than the limit in bytes, or is not UTF-8.
[[nodiscard]] std::string readText(Directory& directory, const std::string& name, std::size_t limit);

} // namespace InstallerCore
