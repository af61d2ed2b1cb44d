#include "hosts/linux/window/ApplicationLauncher.h"

#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/Folders.h"
#include "InstallerCore/platform/Processes.h"
#include "InstallerCore/platform/PropertyLists.h"
#include "InstallerCore/platform/ReadText.h"

#include <exception>
#include <optional>
#include <utility>

namespace InstallerCore {

namespace {

// Absent in a bundle that is for a Mac alone.
std::optional<std::filesystem::path> executableOf(const std::filesystem::path& application,
                                                  const Platform& platform) {
    constexpr std::size_t longest = std::size_t{16} << 20U;
    const auto file = platform.files.openForReading(application / "Contents/Info.plist");
    const PropertyValue list = platform.propertyLists.parse(readBytes(*file, longest));
    const std::string* const name = textMember(list, "CFBundleExecutable");
    if (name == nullptr || name->empty()) {
        return std::nullopt;
    }
    auto executable = application / "Contents/Linux" / *name;
    return platform.folders.exists(executable) ? std::optional(std::move(executable)) : std::nullopt;
}

} // namespace

OpenResult launchApplication(const std::filesystem::path& application, const Platform& platform) {
    try {
        if (const auto executable = executableOf(application, platform)) {
            platform.processes.startDetached(*executable, {});
        }
        return {.error = std::nullopt, .isRunning = true};
    } catch (const std::exception& error) {
        return {.error = error.what(), .isRunning = false};
    }
}

} // namespace InstallerCore
