#pragma once

#include "InstallerCore/support/PropertyValue.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore::CodeSign {

// Which entries of a bundle have to be sealed, and how.
class ResourceRules {
public:
    struct Verdict {
        bool isSealed = false; // an entry without a seal is refused
        bool isNested = false; // code with a signature of its own
    };

    // The dictionary "rules2": POSIX extended expressions with their properties. Throws SignatureError when
    // one is no expression, or leaves out what strict validation does not let be left out.
    explicit ResourceRules(const PropertyDictionary& rules);
    ResourceRules(ResourceRules&&) noexcept;
    ResourceRules& operator=(ResourceRules&&) noexcept;
    ~ResourceRules();

    // Of the rules that match somewhere in the path the weightiest decides.
    [[nodiscard]] Verdict verdict(std::string_view path) const;

private:
    struct Rule;

    std::vector<Rule> rules_; // the weightiest first
};

} // namespace InstallerCore::CodeSign
