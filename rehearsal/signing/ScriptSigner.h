#pragma once

#include "rehearsal/signing/MachOSigner.h"

#include <filesystem>

namespace InstallerCore::Rehearsal {

// Signs a file that is no Mach-O file by extended attributes, com.apple.cs.* below "user.": CodeDirectory,
// CodeRequirements and CodeSignature hold one blob each, as does, oddly named, CodeRequirements-1 and so on
// for further code directories. Throws std::runtime_error, also where the volume has no such attributes or
// not that much room for them (ext4 has 4 KiB: enough without a time stamp and the root's certificate). The
// identifier must be set.
SignedCode signScript(const std::filesystem::path& file, const SigningIdentity* identity,
                      const CodeOptions& options);

// Throws std::runtime_error when the file is not signed so.
[[nodiscard]] SignedCode readSignedScript(const std::filesystem::path& file);

} // namespace InstallerCore::Rehearsal
