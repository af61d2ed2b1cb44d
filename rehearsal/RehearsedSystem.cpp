#include "rehearsal/RehearsedSystem.h"

#include <charconv>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace InstallerCore::Rehearsal {

namespace {

[[noreturn]] void refuseVersion(const std::string& text) {
    throw std::runtime_error("this is no version of a system: " + text);
}

// With its separator in front.
int numberAt(std::string_view& rest, const std::string& text) {
    int number = 0;
    if (!rest.starts_with('.')) {
        refuseVersion(text);
    }
    rest.remove_prefix(1);
    const auto [stop, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (error != std::errc() || number < 0) {
        refuseVersion(text);
    }
    rest.remove_prefix(static_cast<std::size_t>(stop - rest.data()));
    return number;
}

SystemVersion systemVersion(const std::string& text) {
    const std::string separated = "." + text;
    std::string_view rest = separated;
    SystemVersion version;
    for (int* const number : {&version.major, &version.minor, &version.patch}) {
        *number = numberAt(rest, text);
    }
    if (!rest.empty()) {
        refuseVersion(text);
    }
    return version;
}

bool isArm64(const std::string& architecture) {
    if (architecture != "arm64" && architecture != "x64") {
        throw std::runtime_error("there is no architecture " + architecture);
    }
    return architecture == "arm64";
}

} // namespace

RehearsedSystem::RehearsedSystem(const SystemInfo& machine, const std::string& version,
                                 const std::string& architecture)
    : version_(version.empty() ? machine.version() : systemVersion(version)),
      hasArm64_(architecture.empty() ? machine.hasArm64() : isArm64(architecture)) {}

} // namespace InstallerCore::Rehearsal
