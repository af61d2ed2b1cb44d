#pragma once

#include "InstallerCore/support/Bytes.h"
#include "rehearsal/signing/CmsSigner.h"
#include "rehearsal/signing/SignatureHash.h"
#include "rehearsal/signing/SigningIdentity.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// How code is signed. What of it holds for all code in a bundle is copied from piece to piece.
struct CodeOptions {
    std::string identifier; // empty: from the Info.plist, else the file's name
    // One directory each. The first lies in slot 0 and is the one that is signed.
    std::vector<SignatureHash> hashes = {SignatureHash::sha256};
    bool adHoc = false;
    bool hardenedRuntime = true;
    bool teamIdentifier = true;             // written into the directories, unless ad hoc
    std::string entitlements;               // a property list as XML; empty: none
    bool derEntitlements = true;            // the entitlements also in their second form
    std::optional<std::uint32_t> flags;     // in place of those that the options above give
    std::optional<std::uint32_t> version;   // of the directories, 0x20001 to 0x20500; absent: as needed
    std::optional<unsigned> pageSizeBits;   // 12 is 4096, 0 one page; absent: as the processor has them
    std::optional<Bytes> requirements;      // the whole blob, in place of the made one; empty: no blob
    std::map<unsigned, Bytes> specialSlots; // more content to seal, by the slot's number without its sign
    CmsOptions cms;
};

// What a signature seals besides pages, by the slot's number without its sign.
namespace SpecialSlot {
inline constexpr unsigned infoPlist = 1;
inline constexpr unsigned requirements = 2;
inline constexpr unsigned codeResources = 3;
inline constexpr unsigned entitlements = 5;
inline constexpr unsigned derEntitlements = 7;
} // namespace SpecialSlot

// What is signed: one slice of an executable file, or a file of another kind.
struct CodeSubject {
    ByteView content;                    // up to the signature
    unsigned pageSizeBits = 0;           // 0: one page
    std::uint64_t executableSegment = 0; // size of __TEXT, which begins with the slice
    bool mainExecutable = false;         // a program rather than a library
    std::uint32_t runtimeVersion = 0x000e0000;
};

// The parts of a signature, each a whole blob; empty when there is none of the kind.
struct SignatureParts {
    std::vector<Bytes> codeDirectories;
    Bytes requirements;
    Bytes entitlements;
    Bytes derEntitlements;
    Bytes cms;

    [[nodiscard]] std::vector<CodeHash> cdHashes() const;
};

// The options' identifier must be set. Without an identity the signature must be ad hoc. Throws
// std::runtime_error. Any thread.
[[nodiscard]] SignatureParts signCode(const CodeSubject& subject, const SigningIdentity* identity,
                                      const CodeOptions& options);

// The super-blob: slots ascending.
[[nodiscard]] Bytes joinParts(const SignatureParts& parts);

// What the super-blob of such a signature is never larger than, for code of that many bytes.
[[nodiscard]] std::size_t signatureRoom(std::size_t size, unsigned pageSizeBits, const CodeOptions& options);

} // namespace InstallerCore::Rehearsal
