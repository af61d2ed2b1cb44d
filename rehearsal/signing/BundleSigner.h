#pragma once

#include "rehearsal/signing/MachOSigner.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

struct BundleOptions {
    // For all code, but identifier, entitlements, requirements and special slots are the outermost code's
    // alone.
    CodeOptions code;
    bool deep = true; // sign nested code as well; false: it is signed already
    // Whether the seal has its older half (files, rules) and its newer one (files2, rules2).
    bool olderSeal = true;
    bool newerSeal = true;
    // The text that seals demand of nested code, in place of each one's own.
    std::optional<std::string> nestedRequirement;
};

// Signs a bundle in place, nested code first: applications (Contents), frameworks (all of Versions, or flat)
// and whatever else is a directory with an Info.plist. Code that is no Mach-O file where only code may be,
// such as a script, keeps its signature in extended attributes, com.apple.cs.* below "user.". An older seal
// is replaced. The identity may be null for an ad-hoc signature. Returns what the main executable's signature
// says. Throws std::runtime_error, or the PlatformError of a property list that cannot be read.
SignedCode signBundle(const std::filesystem::path& bundle, const SigningIdentity* identity,
                      const BundleOptions& options = {});

// Either: a directory as bundle, a file by itself.
SignedCode sign(const std::filesystem::path& path, const SigningIdentity* identity,
                const BundleOptions& options = {});

// The code of a signed bundle: the main executable and, however deep, all nested code.
[[nodiscard]] std::vector<SignedCode> readSignedBundle(const std::filesystem::path& bundle);

} // namespace InstallerCore::Rehearsal
