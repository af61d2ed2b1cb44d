#pragma once

#include "hosts/linux/codesign/CodeSignature.h"
#include "hosts/linux/codesign/MappedFile.h"
#include "hosts/linux/codesign/Requirement.h"
#include "hosts/linux/codesign/StaticVerification.h"
#include "hosts/posix/WorkQueue.h"

#include <memory>
#include <optional>
#include <string>

namespace InstallerCore::CodeSign {

// One architecture of a piece of code, with all that its signature is about.
struct SignedSlice {
    std::string place; // for messages
    std::string architecture;
    std::shared_ptr<const MappedFile> file;
    ByteView code; // in the file: what the pages are made of, all of it
    std::shared_ptr<const CodeSignature> signature;
    std::optional<ByteView> infoPlist;
    std::optional<ByteView> resources; // the bundle's property list of seals
};

struct SliceContext {
    const TrustRoots& roots;
    std::time_t now;
    WorkQueue& queue;
};

// Proves the signer, the special slots and the requirement, if there is one; the pages are pushed to the
// queue. Throws SignatureError with the place in front.
[[nodiscard]] VerifiedSlice verifySlice(const SignedSlice& slice, const Requirement* requirement,
                                        const SliceContext& context);

} // namespace InstallerCore::CodeSign
