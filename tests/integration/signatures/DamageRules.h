#pragma once

#include "tests/integration/signatures/DamageCampaign.h"

#include <initializer_list>
#include <vector>

namespace InstallerCore::Testing {

// The few damages that the rules allow, each with its reason; by what is damaged.
using DamageRules = std::vector<DamageRule>;

// Of any signature: bits, and blobs.
[[nodiscard]] const DamageRules& bitRules();
[[nodiscard]] const DamageRules& blobRules();

// Of universal files: bits.
[[nodiscard]] const DamageRules& universalBitRules();

// Of signatures with a message: bits, and values.
[[nodiscard]] const DamageRules& messageBitRules();
[[nodiscard]] const DamageRules& messageRules();

// Of messages whose time stamps are signed with SHA-1: bits.
[[nodiscard]] const DamageRules& sha1TimeStampBitRules();

// Of messages that name their digests with null parameters, as a Mac's do: values.
[[nodiscard]] const DamageRules& nullParameterRules();

// While the signer's certificate is valid, and when the verifier has the root at hand.
[[nodiscard]] const DamageRules& validCertificateBitRules();
[[nodiscard]] const DamageRules& validCertificateRules();

// Of signatures with one code directory.
[[nodiscard]] const DamageRules& oneDirectoryRules();

// Of a helper that is the same in the donors.
[[nodiscard]] const DamageRules& sameHelperRules();

// Of code that nobody signed.
[[nodiscard]] const DamageRules& adHocRules();

// Of the entries of a bundle.
[[nodiscard]] const DamageRules& entryRules();
[[nodiscard]] DamageRules attributeRules(const std::filesystem::path& bundle); // none where none can be added
[[nodiscard]] const DamageRules& applicationRules();                           // also of one in a framework
[[nodiscard]] const DamageRules& sampleEntryRules();
[[nodiscard]] const DamageRules& frameworkRules();

[[nodiscard]] DamageRules join(std::initializer_list<DamageRules> parts);

} // namespace InstallerCore::Testing
