#include "hosts/linux/WorkspaceProc.h"

#include "InstallerCore/platform/ReadText.h"
#include "InstallerCore/support/Ascii.h"
#include "InstallerCore/support/PlatformError.h"
#include "hosts/posix/PosixError.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
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
    if (error) {
        throwReadError(error.value());
    }
    return result;
}

// Absent when the process has ended, has none, or is not ours to look at.
std::optional<std::filesystem::path> executableOf(const std::string& process) {
    std::error_code error;
    auto executable = std::filesystem::read_symlink("/proc/" + process + "/exe", error);
    if (!error) {
        return executable;
    }
    const int number = error.value();
    if (number == ENOENT || number == ESRCH || number == EACCES || number == EPERM) {
        return std::nullopt;
    }
    throwReadError(number);
}

// The identifier in the bundle's property list, empty when there is none in it; absent when there is no list
// that means anything, so that this is no bundle. Throws when nobody can tell.
std::optional<std::string> bundleIdentifier(const std::filesystem::path& bundle, Files& files,
                                            const PropertyLists& propertyLists) {
    constexpr std::size_t longest = std::size_t{16} << 20U;
    try {
        const auto file = files.openForReading(bundle / "Contents/Info.plist");
        const PropertyValue list = propertyLists.parse(readBytes(*file, longest));
        const std::string* const text = textMember(list, "CFBundleIdentifier");
        return text == nullptr ? std::string() : *text;
    } catch (const PlatformError& error) {
        if (error.is(FileErrorCode::readUnknown)) {
            throw;
        }
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
        const auto executable = executableOf(process);
        return executable && identifierOf(*executable) == bundleIdentifier;
    });
}

} // namespace InstallerCore
