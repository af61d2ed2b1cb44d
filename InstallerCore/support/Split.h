#pragma once

#include <string_view>
#include <vector>

namespace InstallerCore {

enum class EmptyPieces { keep, drop };

// The pieces between the separators; views into the text. Pure; any thread.
[[nodiscard]] std::vector<std::string_view> split(std::string_view text, char separator, EmptyPieces empty);

} // namespace InstallerCore
