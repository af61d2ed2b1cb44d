#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace InstallerCore {

// A signed 64-bit decimal integer: an optional "+" or "-" followed by ASCII digits and nothing else. Absent
// when the text has another form or the value does not fit. Pure; any thread.
[[nodiscard]] std::optional<std::int64_t> parseInteger(std::string_view text);

} // namespace InstallerCore
