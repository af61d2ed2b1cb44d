#pragma once

#include "rehearsal/signing/BundleCode.h"
#include "rehearsal/signing/SignatureHash.h"

#include <functional>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// What a seal says of nested code.
struct NestedSeal {
    Bytes cdHash; // 20 bytes
    std::string requirement;
};

struct SealOptions {
    std::vector<SignatureHash> hashes; // of files, besides SHA-256: those that the code directories have
    bool older = true;
    bool newer = true;
};

// The seal of a bundle, _CodeSignature/CodeResources: a property list as XML. Each file is read once; nested
// is asked for each nested code by its path. Throws std::runtime_error.
[[nodiscard]] std::string
makeCodeResources(const BundleCode& code, const SealOptions& options,
                  const std::function<NestedSeal(const std::filesystem::path&)>& nested);

} // namespace InstallerCore::Rehearsal
