#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore {

// Text as sequences of Unicode code points in UTF-8. "Blank" is the tab and every horizontal space separator
// (general category Zs); "newline" is U+000A to U+000D, U+0085, U+2028 and U+2029. All but isUtf8() need
// valid UTF-8. Views live as long as the argument's storage. Pure; any thread.

[[nodiscard]] bool isUtf8(std::string_view text);

// Without any U+FEFF, wherever it stands.
[[nodiscard]] std::string withoutByteOrderMarks(std::string_view text);

// Cut at every single newline character, which is in no line; n newlines give n + 1 lines.
[[nodiscard]] std::vector<std::string_view> lines(std::string_view text);

// Without the blanks and newlines at both ends.
[[nodiscard]] std::string_view trimmed(std::string_view text);

} // namespace InstallerCore
