#pragma once

#include "hosts/posix/FoldersPosix.h"

namespace InstallerCore {

// With the space of a volume as Foundation tells it, which counts in 64 bits.
class FoldersFoundation final : public FoldersPosix {
public:
    [[nodiscard]] std::optional<std::int64_t>
    availableSpace(const std::filesystem::path& path) const override;
};

} // namespace InstallerCore
