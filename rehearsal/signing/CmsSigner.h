#pragma once

#include "InstallerCore/support/Bytes.h"
#include "rehearsal/signing/SignatureHash.h"
#include "rehearsal/signing/SigningIdentity.h"

#include <ctime>
#include <optional>
#include <span>
#include <vector>

namespace InstallerCore::Rehearsal {

// A code directory as the signature names it.
struct DirectoryDigest {
    SignatureHash type;
    Bytes digest; // in full length

    friend bool operator==(const DirectoryDigest&, const DirectoryDigest&) = default;
};

[[nodiscard]] DirectoryDigest digestOf(ByteView codeDirectory);

// What a signature leaves out or alters. The defaults make a good one.
struct CmsOptions {
    SignatureHash digest = SignatureHash::sha256; // of the message, not of the directories
    std::optional<std::time_t> signingTime;       // absent: now

    bool contentType = true;
    bool signingTimeAttribute = true;
    bool messageDigestAttribute = true;
    bool hashList = true;         // attribute 1.2.840.113635.100.9.2
    bool hashPropertyList = true; // attribute 1.2.840.113635.100.9.1

    std::optional<Bytes> messageDigest;                             // in place of the directory's
    std::optional<std::vector<DirectoryDigest>> hashListEntries;    // in place of the directories given
    std::optional<std::vector<DirectoryDigest>> propertyListHashes; // likewise

    bool embedAuthority = true;
    bool embedRoot = true;

    bool timeStamp = true;
    std::optional<std::time_t> timeStampTime;              // absent: the signing time
    std::optional<Bytes> timeStampedValue;                 // in place of the signature's
    SignatureHash timeStampDigest = SignatureHash::sha256; // of the value, and of the token's own signature
};

// The CMS message (DER, detached) that signs the first directory and names all of them. With the certificates
// of the authority, the root and the leaf, in this order, and a time-stamp token (RFC 3161) over the
// signature as unsigned attribute. Throws std::runtime_error. Any thread.
[[nodiscard]] Bytes signCms(const SigningIdentity& identity, std::span<const Bytes> codeDirectories,
                            const CmsOptions& options = {});

} // namespace InstallerCore::Rehearsal
