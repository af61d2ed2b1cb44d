#include "hosts/linux/ResourcesLinux.h"

#include <system_error>

namespace InstallerCore {

std::filesystem::path ResourcesLinux::ofThisProgram() {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path()
                 : executable.parent_path().parent_path() / "share" / "kavio-installer";
}

std::optional<std::filesystem::path> ResourcesLinux::find(const std::string& name,
                                                          const std::string& extension) const {
    if (directory_.empty()) {
        return std::nullopt;
    }
    auto path = directory_ / (name + '.' + extension);
    std::error_code ignored; // what cannot be looked at is not there
    return std::filesystem::is_regular_file(path, ignored) ? std::optional(std::move(path)) : std::nullopt;
}

} // namespace InstallerCore
