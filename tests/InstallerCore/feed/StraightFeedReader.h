#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/feed/Manifest.h"

#include <string>
#include <string_view>
#include <variant>

namespace InstallerCore::Testing {

// A manifest, or the text of the error that ends the reading.
using StraightResult = std::variant<Manifest, std::string>;

// Stands for the JSON parser's own error, whatever its text.
inline constexpr std::string_view malformedJson = "(malformed JSON)";

// Reads a release feed by the same rules as readUpdateFeed(), in the plainest way: the whole text as an array
// of code points, every rule spelled out where it applies, the grammar of addresses left to liburiparser.
// Shares no code with the core but the trust check and the records of the result.
[[nodiscard]] StraightResult readFeedStraight(std::string_view document, const Config& config);

} // namespace InstallerCore::Testing
