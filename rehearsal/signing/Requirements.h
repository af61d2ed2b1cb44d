#pragma once

#include "InstallerCore/support/Bytes.h"
#include "rehearsal/signing/SignatureHash.h"

#include <span>
#include <string>

namespace InstallerCore::Rehearsal {

// The designated requirement of code with a Developer ID, as text.
[[nodiscard]] std::string developerIdRequirement(const std::string& identifier, const std::string& team);

// The requirement of ad-hoc code, as text: that it is one of these.
[[nodiscard]] std::string cdHashRequirement(std::span<const CodeHash> hashes);

// The set of requirements that a signature carries: developerIdRequirement(), compiled, as designated one.
[[nodiscard]] Bytes requirementSet(const std::string& identifier, const std::string& team);

[[nodiscard]] Bytes emptyRequirementSet();

} // namespace InstallerCore::Rehearsal
