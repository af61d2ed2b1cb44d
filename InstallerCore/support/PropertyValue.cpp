#include "InstallerCore/support/PropertyValue.h"

namespace InstallerCore {

const PropertyValue* member(const PropertyDictionary& dictionary, std::string_view key) {
    const auto found = dictionary.find(std::string(key));
    return found == dictionary.end() ? nullptr : &found->second;
}

} // namespace InstallerCore
