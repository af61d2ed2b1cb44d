#pragma once

#include "hosts/linux/codesign/StaticVerification.h"

#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// Whether all damages are tried or, in a usual run, only some of each kind.
enum class DamageExtent { sampled, whole };
extern const DamageExtent damageExtent;

// One damage to a bundle.
struct Damage {
    std::string kind;        // what is done; damages are counted by it
    std::string part;        // to which part of a format, as in "code directory: flags"; may be empty
    std::string file;        // in the bundle
    std::string detail = {}; // for whoever looks for the damage
};

// What the rules say of some damages. Its fields are patterns as file names have them (fnmatch); the first
// rule that fits decides, and what no rule fits is refused.
struct DamageRule {
    enum class Verdict { accepted, refused, either };

    const char* kind;
    const char* part;
    const char* file;
    Verdict verdict;
    const char* reason; // for whoever reads the table
};

// A bundle, or an executable by itself, that is valid.
struct DamageSubject {
    std::string name;
    std::filesystem::path path;
    std::optional<CodeSign::Requirement> requirement;
    CodeSign::TrustRoots roots;
    std::time_t now;
    std::vector<DamageRule> rules;
    unsigned sampledOneOf = 1; // of how many damages a sampled run tries one
};

// Tries damages one by one, each verified and mended again, and holds the verdicts against the rules.
class DamageCampaign {
public:
    explicit DamageCampaign(const DamageSubject& subject);

    [[nodiscard]] const DamageSubject& subject() const noexcept { return subject_; }

    // Both throw when they cannot do their work; after mend the bundle is as before.
    void attempt(const Damage& damage, const std::function<void()>& apply, const std::function<void()>& mend);

    // One bit at that offset of the file.
    void flip(const Damage& damage, std::size_t offset, std::byte mask);

    // That file with other content, its own file back afterwards; nothing when the content is the same.
    void rewrite(const Damage& damage, const std::string& content);

    // The undamaged bundle is accepted. Wrong mending would hide all that follows, so this is asked before,
    // between and after the damages.
    void expectSound();

    // Prints what was tried, a line for each kind, and fails for each verdict against the rules and for each
    // rule that accepts and never had to.
    void finish();

    // The same numbers in every run.
    [[nodiscard]] std::size_t random(std::size_t limit);

private:
    struct Count {
        unsigned accepted = 0;
        unsigned refused = 0;
    };

    [[nodiscard]] bool isWanted(const Damage& damage);
    [[nodiscard]] std::optional<std::string> refusal() const; // the reason; absent: accepted
    void judge(const Damage& damage, const std::optional<std::string>& refusal);

    const DamageSubject& subject_;
    std::mt19937 random_;
    std::map<std::string, Count> counts_;
    std::set<std::string> begun_;
    std::set<const DamageRule*> used_;
    std::vector<std::string> faults_;
};

} // namespace InstallerCore::Testing
