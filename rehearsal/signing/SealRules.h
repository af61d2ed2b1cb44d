#pragma once

#include "InstallerCore/support/PropertyValue.h"

#include <regex.h>

#include <memory>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// What becomes of the paths that a rule matches.
struct SealRule {
    std::string pattern; // POSIX extended, searched in the path below the bundle's base
    double weight = 1;   // of several that match, the heaviest decides
    bool omit = false;
    bool optional = false;
    bool nested = false;
};

// Where the rules are for: bundles with a folder of resources, or flat ones.
enum class SealLayout { withResources, flat };

// The rules of a seal. Never changes; any thread.
class SealRules {
public:
    // The usual ones of the older half of a seal (files and rules) or of the newer (files2 and rules2).
    [[nodiscard]] static SealRules older(SealLayout layout);
    [[nodiscard]] static SealRules newer(SealLayout layout);

    // The rule that decides on the path, or null.
    [[nodiscard]] const SealRule* match(const std::string& path) const;

    // As the seal states them.
    [[nodiscard]] PropertyDictionary asPropertyList() const;

private:
    struct Compiled {
        SealRule rule;
        std::shared_ptr<const regex_t> expression;
    };

    SealRules(const std::vector<SealRule>& rules, SealLayout layout);

    std::vector<Compiled> rules_;
};

} // namespace InstallerCore::Rehearsal
