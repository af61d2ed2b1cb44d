#pragma once

#include "InstallerCore/platform/Folders.h"

#include <cstdint>
#include <memory>

namespace InstallerCore {

// The sizes of all regular files below the folder, added up, in bytes; links count nothing and are not
// followed. The first entry that cannot be read ends it with its PlatformError. A sum that overflows aborts.
// Holds a folder open for each level, so a tree that is too deep for that cannot be read either.
[[nodiscard]] std::int64_t sizeOfTree(std::unique_ptr<Folder> folder);

} // namespace InstallerCore
