#include "rehearsal/signing/SealRules.h"

#include <stdexcept>
#include <string_view>

namespace InstallerCore::Rehearsal {

namespace {

constexpr const char* resources = "^Resources/";

// These and those that both halves of a seal have.
std::vector<SealRule> withResourceRules(std::vector<SealRule> rules) {
    rules.push_back({.pattern = "^Resources/.*\\.lproj/", .weight = 1000, .optional = true});
    rules.push_back({.pattern = "^Resources/.*\\.lproj/locversion.plist$", .weight = 1100, .omit = true});
    rules.push_back({.pattern = "^Resources/Base\\.lproj/", .weight = 1010});
    return rules;
}

std::shared_ptr<const regex_t> compile(const std::string& pattern) {
    auto expression = std::make_unique<regex_t>();
    if (::regcomp(expression.get(), pattern.c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
        throw std::runtime_error("the pattern of a seal does not compile: " + pattern);
    }
    return {expression.release(), [](regex_t* compiled) {
                ::regfree(compiled);
                delete compiled;
            }};
}

PropertyValue asProperty(const SealRule& rule) {
    PropertyDictionary properties;
    const std::initializer_list<std::pair<const char*, bool>> flags = {
        {"omit", rule.omit}, {"optional", rule.optional}, {"nested", rule.nested}};
    for (const auto& [name, set] : flags) {
        if (set) {
            properties[name] = {true};
        }
    }
    if (rule.weight != 1) {
        properties["weight"] = {rule.weight};
    }
    return properties.empty() ? PropertyValue{true} : PropertyValue{std::move(properties)};
}

} // namespace

SealRules SealRules::older(SealLayout layout) {
    return {withResourceRules({{.pattern = resources}, {.pattern = "^version.plist$"}}), layout};
}

SealRules SealRules::newer(SealLayout layout) {
    std::vector<SealRule> rules = withResourceRules({
        {.pattern = "^.*"},
        {.pattern = ".*\\.dSYM($|/)", .weight = 11},
        {.pattern = "^(.*/)?\\.DS_Store$", .weight = 2000, .omit = true},
        {.pattern = "^Info\\.plist$", .weight = 20, .omit = true},
        {.pattern = "^PkgInfo$", .weight = 20, .omit = true},
        {.pattern = "^embedded\\.provisionprofile$", .weight = 20},
        {.pattern = "^version\\.plist$", .weight = 20},
    });
    if (layout == SealLayout::withResources) {
        rules.push_back({.pattern = resources, .weight = 20});
        rules.push_back({.pattern = "^[^/]+$", .weight = 10, .nested = true});
        rules.push_back({.pattern =
                             "^(Frameworks|SharedFrameworks|PlugIns|Plug-ins|XPCServices|Helpers|MacOS|"
                             "Library/(Automator|Spotlight|LoginItems))/",
                         .weight = 10,
                         .nested = true});
    }
    return {rules, layout};
}

// In a flat bundle all is a resource: what elsewhere is said of the folder is said of the base.
SealRules::SealRules(const std::vector<SealRule>& rules, SealLayout layout) {
    for (SealRule rule : rules) {
        if (layout == SealLayout::flat && rule.pattern.starts_with(resources)) {
            const std::string rest = rule.pattern.substr(std::string_view(resources).size());
            rule.pattern = std::string("^").append(rest.empty() ? ".*" : rest);
        }
        rules_.push_back({.rule = rule, .expression = compile(rule.pattern)});
    }
}

const SealRule* SealRules::match(const std::string& path) const {
    const SealRule* best = nullptr;
    for (const Compiled& candidate : rules_) {
        if ((best == nullptr || candidate.rule.weight > best->weight) &&
            ::regexec(candidate.expression.get(), path.c_str(), 0, nullptr, 0) == 0) {
            best = &candidate.rule;
        }
    }
    return best;
}

PropertyDictionary SealRules::asPropertyList() const {
    PropertyDictionary list;
    for (const Compiled& compiled : rules_) {
        list[compiled.rule.pattern] = asProperty(compiled.rule);
    }
    return list;
}

} // namespace InstallerCore::Rehearsal
