#pragma once

#include "tests/integration/signatures/DamageCampaign.h"

#include <initializer_list>
#include <vector>

namespace InstallerCore::Testing {

// The few damages that the rules allow, each with its reason; by what is damaged.
using DamageRules = std::vector<DamageRule>;

// Of bits.
[[nodiscard]] const DamageRules& bitRules();

// Of the parts of signatures and messages.
[[nodiscard]] const DamageRules& blobRules();
[[nodiscard]] const DamageRules& messageRules();

// While the signer's certificate is valid, and when the verifier has the root at hand.
[[nodiscard]] const DamageRules& validCertificateBitRules();
[[nodiscard]] const DamageRules& validCertificateRules();

// Of signatures with one code directory.
[[nodiscard]] const DamageRules& oneDirectoryRules();

// Of code that nobody signed.
[[nodiscard]] const DamageRules& adHocRules();

// Of the entries of a bundle.
[[nodiscard]] const DamageRules& entryRules();
[[nodiscard]] DamageRules attributeRules(const std::filesystem::path& bundle); // none where none can be added
[[nodiscard]] const DamageRules& applicationRules();
[[nodiscard]] const DamageRules& sampleEntryRules();
[[nodiscard]] const DamageRules& frameworkRules();

[[nodiscard]] DamageRules join(std::initializer_list<DamageRules> parts);

} // namespace InstallerCore::Testing
