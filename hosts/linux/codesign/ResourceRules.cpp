#include "hosts/linux/codesign/ResourceRules.h"

#include "hosts/linux/codesign/SignatureError.h"

#include <re2/re2.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

namespace InstallerCore::CodeSign {

struct ResourceRules::Rule {
    std::unique_ptr<RE2> expression;
    double weight = 1;
    bool omit = false;
    bool nested = false;
};

namespace {

constexpr std::string_view everything = "^.*";

// All that strict validation lets a bundle leave unsealed.
constexpr std::array<std::string_view, 4> omissible = {
    R"(^(.*/)?\.DS_Store$)", R"(^Info\.plist$)", R"(^PkgInfo$)", R"(^Resources/.*\.lproj/locversion.plist$)"};

// Bundles have a dozen rules, of a line each.
constexpr std::size_t mostRules = 100;
constexpr std::int64_t mostMemory = std::int64_t{1} << 20U; // for one of them, in bytes

// Linear in time and bounded in memory, whatever the expression: it comes from whoever made the bundle.
std::unique_ptr<RE2> compile(const std::string& text) {
    RE2::Options options(RE2::Latin1); // bytes are bytes
    options.set_posix_syntax(true);
    options.set_dot_nl(true);
    options.set_one_line(true); // a line break in a name begins nothing
    options.set_max_mem(mostMemory);
    options.set_log_errors(false);
    auto expression = std::make_unique<RE2>(text, options);
    demand(expression->ok(), "has a rule that is no regular expression");
    return expression;
}

bool flag(const PropertyDictionary& properties, std::string_view name) {
    const PropertyValue* const value = member(properties, name);
    const bool* const flag = value == nullptr ? nullptr : std::get_if<bool>(&value->value);
    demand(value == nullptr || flag != nullptr, "has a rule that cannot be understood");
    return flag != nullptr && *flag;
}

double weight(const PropertyDictionary& properties) {
    const PropertyValue* const value = member(properties, "weight");
    if (value == nullptr) {
        return 1;
    }
    if (const std::int64_t* const integer = value->integer()) {
        return static_cast<double>(*integer);
    }
    const double* const real = std::get_if<double>(&value->value);
    demand(real != nullptr && std::isfinite(*real), "has a rule that cannot be understood");
    return *real;
}

} // namespace

ResourceRules::ResourceRules(const PropertyDictionary& rules) {
    demand(rules.size() <= mostRules, "has too many rules");
    bool sealsEverything = false;
    rules_.reserve(rules.size());
    for (const auto& [text, value] : rules) {
        Rule rule{.expression = compile(text)};
        if (const PropertyDictionary* const properties = value.dictionary()) {
            rule.weight = weight(*properties);
            rule.omit = flag(*properties, "omit");
            rule.nested = flag(*properties, "nested");
        } else {
            const bool* const isOn = std::get_if<bool>(&value.value);
            demand(isOn != nullptr && *isOn, "has a rule that cannot be understood");
            sealsEverything = sealsEverything || text == everything;
        }
        demand(!rule.omit || std::find(omissible.begin(), omissible.end(), text) != omissible.end(),
               "has a rule that leaves out more than is allowed");
        rules_.push_back(std::move(rule));
    }
    demand(sealsEverything, "has no rule that seals everything");
    // Of two that weigh the same, the stricter one decides.
    std::sort(rules_.begin(), rules_.end(), [](const Rule& a, const Rule& b) {
        return std::tuple(-a.weight, a.omit, a.expression->pattern()) <
               std::tuple(-b.weight, b.omit, b.expression->pattern());
    });
}

ResourceRules::ResourceRules(ResourceRules&&) noexcept = default;
ResourceRules& ResourceRules::operator=(ResourceRules&&) noexcept = default;
ResourceRules::~ResourceRules() = default;

ResourceRules::Verdict ResourceRules::verdict(std::string_view path) const {
    const auto rule = std::find_if(rules_.begin(), rules_.end(), [&](const Rule& candidate) {
        return RE2::PartialMatch(re2::StringPiece(path.data(), path.size()), *candidate.expression);
    });
    if (rule == rules_.end()) {
        return {};
    }
    return {.isSealed = !rule->omit, .isNested = rule->nested};
}

} // namespace InstallerCore::CodeSign
