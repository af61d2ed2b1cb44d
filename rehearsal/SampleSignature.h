#pragma once

#include "rehearsal/signing/SigningIdentity.h"

#include <filesystem>

namespace InstallerCore::Rehearsal {

// The identity that this build made: what it trusts, unless it was given roots of its own.
[[nodiscard]] const SigningIdentity& sampleIdentity();

// Signs the sample application as a maker does for its users: with a Developer ID, a time stamp, the hardened
// runtime and a stapled ticket. All entries get the samples' date again. Throws std::runtime_error.
void signSampleApplication(const std::filesystem::path& bundle,
                           const SigningIdentity& identity = sampleIdentity());

} // namespace InstallerCore::Rehearsal
