#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace InstallerCore {

struct PropertyValue;

using PropertyArray = std::vector<PropertyValue>;
using PropertyDictionary = std::map<std::string, PropertyValue>;

// A date, a reference, or a number beyond 64 bits: kinds that nobody reads here.
struct PropertyOther {
    friend bool operator==(const PropertyOther&, const PropertyOther&) = default;
};

// One value of a property list, as a plain value. Texts are UTF-8.
struct PropertyValue {
    std::variant<PropertyOther, bool, std::int64_t, double, std::string, Bytes, PropertyArray,
                 PropertyDictionary>
        value;

    // The value as that kind, or null.
    [[nodiscard]] const std::string* text() const { return std::get_if<std::string>(&value); }

    [[nodiscard]] const Bytes* data() const { return std::get_if<Bytes>(&value); }

    [[nodiscard]] const std::int64_t* integer() const { return std::get_if<std::int64_t>(&value); }

    [[nodiscard]] const PropertyArray* array() const { return std::get_if<PropertyArray>(&value); }

    [[nodiscard]] const PropertyDictionary* dictionary() const {
        return std::get_if<PropertyDictionary>(&value);
    }

    // Of one kind and equal in all that they hold. (Defaulted, it would ask for itself.)
    friend bool operator==(const PropertyValue& left, const PropertyValue& right) {
        return left.value == right.value;
    }
};

// The member of that name, or null.
[[nodiscard]] const PropertyValue* member(const PropertyDictionary& dictionary, std::string_view key);

// The text of that name; null when the value is no dictionary, has no such member, or it is no text.
[[nodiscard]] const std::string* textMember(const PropertyValue& value, std::string_view key);

} // namespace InstallerCore
