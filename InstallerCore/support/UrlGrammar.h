#pragma once

#include <string>
#include <string_view>

// Rules of RFC 3986, each named as in its appendix A. The argument is the whole text of the rule.
// Pure; any thread.
namespace InstallerCore::UrlGrammar {

[[nodiscard]] bool isScheme(std::string_view text);
[[nodiscard]] bool isUserInfo(std::string_view text);
[[nodiscard]] bool isHost(std::string_view text);
[[nodiscard]] bool isPort(std::string_view text);

// Segments of pchar joined by "/"; whether the path may begin as it does depends on what stands before it.
[[nodiscard]] bool isPath(std::string_view text);

[[nodiscard]] bool isQueryOrFragment(std::string_view text);

// Section 5.2.4.
[[nodiscard]] std::string removeDotSegments(std::string_view path);

} // namespace InstallerCore::UrlGrammar
