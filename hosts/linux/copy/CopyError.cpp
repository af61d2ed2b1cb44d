#include "hosts/linux/copy/CopyError.h"

#include <algorithm>
#include <system_error>

namespace InstallerCore {

namespace {

std::string printable(std::string path) {
    std::ranges::replace_if(
        path,
        [](char c) {
            const auto byte = static_cast<unsigned char>(c);
            return byte < 0x20 || byte == 0x7f;
        },
        '?');
    return path;
}

} // namespace

CopyError::CopyError(const std::string& path, const std::string& reason)
    : std::runtime_error(printable(path) + ": " + reason) {}

void throwCopyError(const std::string& path, int errorNumber) {
    throw CopyError(path, std::generic_category().message(errorNumber));
}

void throwChanged(const std::string& path) {
    throw CopyError(path, "changed while it was being copied");
}

} // namespace InstallerCore
