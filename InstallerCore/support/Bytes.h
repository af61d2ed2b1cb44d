#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore {

using Bytes = std::vector<std::byte>;
using ByteView = std::span<const std::byte>;

// The same bytes seen as text or the other way round; nothing is copied or checked, so the result lives as
// long as the argument's storage.

[[nodiscard]] inline std::string_view asText(ByteView bytes) {
    // The one cast that the language allows between the two views of raw storage.
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

[[nodiscard]] inline ByteView asBytes(std::string_view text) {
    return std::as_bytes(std::span<const char>(text));
}

[[nodiscard]] inline Bytes toBytes(std::string_view text) {
    const ByteView view = asBytes(text);
    return {view.begin(), view.end()};
}

// Two lower-case digits a byte, most significant nibble first.
[[nodiscard]] std::string hexadecimal(ByteView bytes);

} // namespace InstallerCore
