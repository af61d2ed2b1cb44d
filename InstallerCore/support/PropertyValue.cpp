#include "InstallerCore/support/PropertyValue.h"

namespace InstallerCore {

const PropertyValue* member(const PropertyDictionary& dictionary, std::string_view key) {
    const auto found = dictionary.find(std::string(key));
    return found == dictionary.end() ? nullptr : &found->second;
}

const std::string* textMember(const PropertyValue& value, std::string_view key) {
    const PropertyDictionary* const dictionary = value.dictionary();
    const PropertyValue* const found = dictionary == nullptr ? nullptr : member(*dictionary, key);
    return found == nullptr ? nullptr : found->text();
}

} // namespace InstallerCore
