#include "hosts/linux/diskimage/OpenFiles.h"

#include "InstallerCore/support/Ascii.h"
#include "hosts/linux/diskimage/DiskFailure.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>

namespace InstallerCore {

namespace {

namespace fs = std::filesystem;

bool leadsBelow(const fs::path& link, const std::string& path) {
    std::error_code error;
    const std::string target = fs::read_symlink(link, error).string();
    return !error && target.starts_with(path) && (target.size() == path.size() || target[path.size()] == '/');
}

bool holdsBelow(const fs::path& process, const std::string& path) {
    for (const char* const name : {"cwd", "root", "exe"}) {
        if (leadsBelow(process / name, path)) {
            return true;
        }
    }
    std::error_code error;
    for (fs::directory_iterator file(process / "fd", error), end; !error && file != end;
         file.increment(error)) {
        if (leadsBelow(file->path(), path)) {
            return true;
        }
    }
    // A process may end, or not be ours to look into.
    const int number = error.value();
    if (error && number != ENOENT && number != ESRCH && number != EACCES && number != EPERM) {
        throwDiskFailure("open files cannot be looked at", number);
    }
    return false;
}

} // namespace

bool isInUse(const fs::path& path) {
    const std::string own = std::to_string(::getpid());
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename();
        const bool process = std::ranges::all_of(name, Ascii::isDigit);
        if (process && name != own && holdsBelow(entry->path(), path.string())) {
            return true;
        }
    }
    if (error) {
        throwDiskFailure("open files cannot be looked at", error.value());
    }
    return false;
}

} // namespace InstallerCore
