#pragma once

#include "InstallerCore/support/Bytes.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Strictly typed reading of the core's JSON records. Every failure is a PlatformError of the JSON domain
// whose description names the key. For sources only: the JSON library stays out of public headers.
namespace InstallerCore::Json {

using Value = nlohmann::json;

// For writing: members keep the order in which they were added.
using Record = nlohmann::ordered_json;

// Any JSON document, a bare string among them.
[[nodiscard]] Value parse(ByteView document);

// A document whose top level is an object.
[[nodiscard]] Value parseObject(ByteView document);

[[nodiscard]] const Value& member(const Value& object, std::string_view key);
[[nodiscard]] std::string text(const Value& object, std::string_view key);
[[nodiscard]] const Value& array(const Value& object, std::string_view key);
[[nodiscard]] std::vector<std::string> texts(const Value& object, std::string_view key);

// A number written as an integer that fits; 1.0, true and "1" are none.
[[nodiscard]] std::int64_t integer(const Value& object, std::string_view key);

// Compact. Throws the JSON library's error when a text is not UTF-8.
[[nodiscard]] std::string compact(const Record& record);

} // namespace InstallerCore::Json
