#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace InstallerCore::Fuzz {

// The parts of a URI reference as liburiparser sees them: a second opinion on the core's own grammar.
struct UriParts {
    std::optional<std::string> scheme;
    std::optional<std::string> userInfo;
    std::optional<std::string> host; // an address in brackets keeps them
    std::optional<std::string> port;
    std::string path;
    std::optional<std::string> query;
    std::optional<std::string> fragment;
};

[[nodiscard]] std::optional<UriParts> judgedParts(std::string_view text);

// The reference seen from the base, both of which parse. Absent when the library refuses.
[[nodiscard]] std::optional<std::string> judgedResolution(std::string_view base, std::string_view reference);

} // namespace InstallerCore::Fuzz
