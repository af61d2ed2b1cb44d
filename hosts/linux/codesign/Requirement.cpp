#include "hosts/linux/codesign/Requirement.h"

#include "hosts/linux/codesign/RequirementParser.h"
#include "hosts/linux/codesign/RequirementTokens.h"

namespace InstallerCore::CodeSign {

struct Requirement::Term {
    Conditions::Condition holds;
};

std::optional<Requirement> Requirement::compile(std::string_view text) {
    try {
        return Requirement(std::make_shared<const Term>(parseRequirement(text)));
    } catch (const RequirementSyntaxError&) {
        return std::nullopt;
    }
}

bool Requirement::isMetBy(const RequirementSubject& subject) const {
    return term_->holds(subject);
}

} // namespace InstallerCore::CodeSign
