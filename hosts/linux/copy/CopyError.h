#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>

namespace InstallerCore {

// Why a tree could not be copied. what() is one line, "PATH: reason"; control characters of the path are
// question marks in it.
class CopyError : public std::runtime_error {
public:
    CopyError(const std::string& path, const std::string& reason);
};

[[noreturn]] void throwCopyError(const std::string& path, int errorNumber);

[[noreturn]] void throwChanged(const std::string& path);

// Calls again what a signal has interrupted.
template <typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace InstallerCore
