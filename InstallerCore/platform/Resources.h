#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace InstallerCore {

// The files that come with this application. May be called from any thread.
class Resources {
public:
    virtual ~Resources() = default;

    // The file of the name and extension (without its dot) in the application's own resources; absent when
    // there is none.
    [[nodiscard]] virtual std::optional<std::filesystem::path> find(const std::string& name,
                                                                    const std::string& extension) const = 0;
};

} // namespace InstallerCore
