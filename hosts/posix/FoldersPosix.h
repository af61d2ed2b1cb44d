#pragma once

#include "InstallerCore/platform/Folders.h"

namespace InstallerCore {

class FoldersPosix : public Folders {
public:
    [[nodiscard]] std::unique_ptr<Folder> open(const std::filesystem::path& path) const override;
    [[nodiscard]] bool exists(const std::filesystem::path& path) const override;
    [[nodiscard]] bool isWritable(const std::filesystem::path& path) const override;
    [[nodiscard]] std::optional<std::int64_t>
    availableSpace(const std::filesystem::path& path) const override;
};

} // namespace InstallerCore
