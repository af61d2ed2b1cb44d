#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

// What every target is: called with one input after the other, aborts when a property does not hold. Returns
// -1 for an input that does not belong into a corpus.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace InstallerCore::Fuzz {

// Aborts with the property's name unless it holds.
void check(bool holds, std::string_view property);

[[nodiscard]] inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return asText(std::as_bytes(std::span(data, size)));
}

// The pieces of the text before each of the first separators and behind the last of those; at most so many.
// Missing ones are absent, so that a corpus file stays readable: several values, one under the other.
[[nodiscard]] std::vector<std::string_view> pieces(std::string_view text, char separator, std::size_t most);

} // namespace InstallerCore::Fuzz
