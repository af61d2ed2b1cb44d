#pragma once

#include "hosts/linux/codesign/CmsSignature.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace InstallerCore::CodeSign {

// What a requirement is asked about: one architecture of one piece of code.
struct RequirementSubject {
    std::string identifier;       // of the code directory
    Bytes cdHash;                 // 20 bytes
    std::optional<Signer> signer; // none for an ad-hoc signature
};

// A condition in the language of Apple's "Code Signing Requirement Language", as far as applications use it:
// and, or, !, parentheses, always, never, identifier, anchor apple, anchor apple generic, anchor trusted,
// certificate POSITION [subject.X], certificate POSITION [field.OID], exists and comparisons, cdhash H"...",
// comments. "anchor apple generic" means a chain that ends in one of the trusted roots of this program. A
// value; never changes; any thread.
class Requirement {
public:
    // Absent when the text does not compile, or nests too deep.
    [[nodiscard]] static std::optional<Requirement> compile(std::string_view text);

    [[nodiscard]] bool isMetBy(const RequirementSubject& subject) const;

    struct Term;

private:
    explicit Requirement(std::shared_ptr<const Term> term) : term_(std::move(term)) {}

    std::shared_ptr<const Term> term_;
};

} // namespace InstallerCore::CodeSign
