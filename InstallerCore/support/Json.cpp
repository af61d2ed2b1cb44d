#include "InstallerCore/support/Json.h"

#include "InstallerCore/support/PlatformError.h"

#include <limits>

namespace InstallerCore::Json {

namespace {

[[noreturn]] void failType(std::string_view key, std::string_view expected) {
    throw PlatformError(JsonErrorCode::typeMismatch,
                        "The value of \"" + std::string(key) + "\" is not " + std::string(expected) + ".");
}

} // namespace

Value parse(ByteView document) {
    const std::string_view characters = asText(document);
    // The library takes a NUL for the end and does not look behind it.
    if (characters.find('\0') == std::string_view::npos) {
        Value value = Value::parse(characters.begin(), characters.end(), nullptr, /*allow_exceptions=*/false);
        if (!value.is_discarded()) {
            return value;
        }
    }
    throw PlatformError(JsonErrorCode::corrupt, "The data is not valid JSON.");
}

Value parseObject(ByteView document) {
    Value value = parse(document);
    if (!value.is_object()) {
        throw PlatformError(JsonErrorCode::typeMismatch, "The top level is not an object.");
    }
    return value;
}

const Value& member(const Value& object, std::string_view key) {
    const auto found = object.is_object() ? object.find(std::string(key)) : object.end();
    if (found == object.end()) {
        throw PlatformError(JsonErrorCode::keyNotFound,
                            "There is no value for \"" + std::string(key) + "\".");
    }
    return *found;
}

std::string text(const Value& object, std::string_view key) {
    const Value& value = member(object, key);
    if (!value.is_string()) {
        failType(key, "a string");
    }
    return value.get<std::string>();
}

const Value& array(const Value& object, std::string_view key) {
    const Value& value = member(object, key);
    if (!value.is_array()) {
        failType(key, "an array");
    }
    return value;
}

std::vector<std::string> texts(const Value& object, std::string_view key) {
    std::vector<std::string> result;
    for (const Value& element : array(object, key)) {
        if (!element.is_string()) {
            failType(key, "an array of strings");
        }
        result.push_back(element.get<std::string>());
    }
    return result;
}

std::int64_t integer(const Value& object, std::string_view key) {
    const Value& value = member(object, key);
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!value.is_number_integer() || (value.is_number_unsigned() && value.get<std::uint64_t>() > largest)) {
        failType(key, "a 64-bit integer");
    }
    return value.get<std::int64_t>();
}

std::string compact(const Record& record) {
    return record.dump();
}

} // namespace InstallerCore::Json
