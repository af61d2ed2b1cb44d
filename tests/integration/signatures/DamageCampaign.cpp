#include "tests/integration/signatures/DamageCampaign.h"

#include "hosts/linux/codesign/SignatureError.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>

namespace InstallerCore::Testing {

namespace {

bool fits(const char* pattern, const std::string& text) {
    return ::fnmatch(pattern, text.c_str(), 0) == 0;
}

const DamageRule* ruleFor(const std::vector<DamageRule>& rules, const Damage& damage) {
    for (const DamageRule& rule : rules) {
        if (fits(rule.kind, damage.kind) && fits(rule.part, damage.part) && fits(rule.file, damage.file)) {
            return &rule;
        }
    }
    return nullptr;
}

std::string describe(const Damage& damage) {
    return damage.kind + " | " + damage.part + " | " + damage.file + " | " + damage.detail;
}

// The byte of a file, changed while it lives.
void invert(const std::filesystem::path& file, std::size_t offset, std::byte mask) {
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    std::byte byte{};
    const auto position = static_cast<off_t>(offset);
    const bool done = ::pread(descriptor, &byte, 1, position) == 1 &&
                      (byte ^= mask, ::pwrite(descriptor, &byte, 1, position) == 1);
    ::close(descriptor);
    if (!done) {
        throw std::runtime_error("a byte cannot be changed: " + file.string());
    }
}

} // namespace

DamageCampaign::DamageCampaign(const DamageSubject& subject) : subject_(subject) {
    expectSound();
}

bool DamageCampaign::isWanted(const Damage& damage) {
    const bool isFirst = begun_.insert(damage.kind + damage.part).second;
    return isFirst || damageExtent == DamageExtent::whole || random(subject_.sampledOneOf) == 0;
}

void DamageCampaign::attempt(const Damage& damage, const std::function<void()>& apply,
                             const std::function<void()>& mend) {
    if (!isWanted(damage)) {
        return;
    }
    apply();
    const auto reason = refusal();
    mend();
    judge(damage, reason);
}

void DamageCampaign::flip(const Damage& damage, std::size_t offset, std::byte mask) {
    const auto invertThere = [&] { invert(subject_.path / damage.file, offset, mask); };
    Damage detailed = damage;
    detailed.detail =
        "byte " + std::to_string(offset) + ", mask " + std::to_string(std::to_integer<unsigned>(mask));
    attempt(detailed, invertThere, invertThere);
}

void DamageCampaign::rewrite(const Damage& damage, const std::string& content) {
    const std::filesystem::path file = subject_.path / damage.file;
    const std::filesystem::path shelf = subject_.path.string() + ".shelf";
    if (content == readFile(file)) {
        return;
    }
    attempt(
        damage,
        [&] {
            std::filesystem::rename(file, shelf);
            writeFile(file, content);
        },
        [&] { std::filesystem::rename(shelf, file); });
}

void DamageCampaign::expectSound() {
    if (const auto reason = refusal()) {
        throw std::runtime_error(subject_.name + " is refused without a damage: " + *reason);
    }
}

void DamageCampaign::judge(const Damage& damage, const std::optional<std::string>& refusal) {
    Count& count = counts_[damage.kind];
    ++(refusal ? count.refused : count.accepted);
    const DamageRule* const rule = ruleFor(subject_.rules, damage);
    const auto expected = rule == nullptr ? DamageRule::Verdict::refused : rule->verdict;
    if (!refusal && rule != nullptr) {
        used_.insert(rule);
    }
    if (!refusal && expected == DamageRule::Verdict::refused) {
        faults_.push_back("accepted: " + describe(damage));
    } else if (refusal && expected == DamageRule::Verdict::accepted) {
        faults_.push_back("refused: " + describe(damage) + " (" + *refusal + ")");
    }
}

void DamageCampaign::finish() {
    expectSound();
    Count all;
    for (const auto& [kind, count] : counts_) {
        std::cout << subject_.name << ": " << kind << ": " << count.refused << " refused, " << count.accepted
                  << " accepted\n";
        all.refused += count.refused;
        all.accepted += count.accepted;
    }
    std::cout << subject_.name << ": all: " << all.refused << " refused, " << all.accepted << " accepted\n";
    for (const DamageRule& rule : subject_.rules) {
        if (damageExtent == DamageExtent::whole && rule.verdict != DamageRule::Verdict::refused &&
            !used_.contains(&rule)) {
            faults_.push_back(std::string("never accepted: ") + rule.kind + " | " + rule.part + " | " +
                              rule.file);
        }
    }
    constexpr std::size_t mostShown = 200;
    for (std::size_t i = 0; i < std::min(faults_.size(), mostShown); ++i) {
        ADD_FAILURE() << subject_.name << ": " << faults_[i];
    }
    EXPECT_LE(faults_.size(), mostShown) << "and as many are not shown";
}

std::size_t DamageCampaign::random(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_);
}

std::optional<std::string> DamageCampaign::refusal() const {
    const CodeSign::Requirement* const requirement = subject_.requirement ? &*subject_.requirement : nullptr;
    try {
        static_cast<void>(CodeSign::verifyStatic(subject_.path, requirement, subject_.roots, subject_.now));
        return std::nullopt;
    } catch (const CodeSign::SignatureError& error) {
        return error.what();
    }
}

} // namespace InstallerCore::Testing
