#include "hosts/linux/WorkspaceProc.h"

#include "InstallerCore/platform/ReadText.h"
#include "InstallerCore/support/Ascii.h"
#include "InstallerCore/support/PlatformError.h"

#include <unistd.h>

#include <algorithm>
#include <optional>

namespace InstallerCore {

namespace {

// The identifiers of all processes but this one.
std::vector<std::string> otherProcesses() {
    std::vector<std::string> result;
    std::error_code error;
    const std::string own = std::to_string(::getpid());
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        std::string name = entry->path().filename().string();
        const bool isProcess = std::all_of(name.begin(), name.end(), Ascii::isDigit);
        if (isProcess && name != own) {
            result.push_back(std::move(name));
        }
    }
    return result;
}

// The identifier in the bundle's property list, empty when there is none in it; absent when there is no
// readable list, so that this is no bundle.
std::optional<std::string> bundleIdentifier(const std::filesystem::path& bundle, Files& files,
                                            const PropertyLists& propertyLists) {
    constexpr std::size_t longest = std::size_t{16} << 20U;
    try {
        const auto file = files.openForReading(bundle / "Contents/Info.plist");
        const PropertyValue list = propertyLists.parse(readBytes(*file, longest));
        const PropertyValue* const value =
            list.dictionary() == nullptr ? nullptr : member(*list.dictionary(), "CFBundleIdentifier");
        const std::string* const text = value == nullptr ? nullptr : value->text();
        return text == nullptr ? std::string() : *text;
    } catch (const PlatformError&) {
        return std::nullopt;
    }
}

} // namespace

std::optional<std::string> WorkspaceProc::identifierOf(const std::filesystem::path& executable) const {
    // A deleted executable has a mark behind its name, which does not matter for the directories above.
    for (auto directory = executable.parent_path(); directory.has_relative_path();
         directory = directory.parent_path()) {
        if (const auto identifier = bundleIdentifier(directory, files_, propertyLists_)) {
            return identifier;
        }
    }
    return std::nullopt;
}

bool WorkspaceProc::isRunning(const std::string& bundleIdentifier) const {
    if (bundleIdentifier.empty()) { // which is no application's
        return false;
    }
    const auto processes = otherProcesses();
    return std::any_of(processes.begin(), processes.end(), [&](const std::string& process) {
        std::error_code error; // it has ended, or is not ours to look at
        const auto executable = std::filesystem::read_symlink("/proc/" + process + "/exe", error);
        return !error && identifierOf(executable) == bundleIdentifier;
    });
}

} // namespace InstallerCore
