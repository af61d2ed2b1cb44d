#pragma once

#include "InstallerCore/platform/Resources.h"

#include <map>

namespace InstallerCore::Testing {

// Has what a test says, by file name. Nothing is looked up in the file system.
class FakeResources final : public Resources {
public:
    [[nodiscard]] std::optional<std::filesystem::path> find(const std::string& name,
                                                            const std::string& extension) const override {
        const auto found = paths.find(name + '.' + extension);
        return found == paths.end() ? std::nullopt : std::optional(found->second);
    }

    std::map<std::string, std::filesystem::path> paths;
};

} // namespace InstallerCore::Testing
