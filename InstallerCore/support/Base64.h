#pragma once

#include "InstallerCore/support/Bytes.h"

#include <optional>
#include <string>
#include <string_view>

namespace InstallerCore {

// Standard base64 with padding (RFC 4648, section 4). Pure; any thread.

[[nodiscard]] std::string encodeBase64(ByteView bytes);

// Absent unless the text is whole groups of the standard alphabet with padding only at the end: no white
// space, no line break, no missing padding. Unused bits in the last group are not looked at; a caller that
// wants the one canonical spelling encodes the result again and compares.
[[nodiscard]] std::optional<Bytes> decodeBase64(std::string_view text);

} // namespace InstallerCore
