#pragma once

#include "hosts/linux/codesign/Certificate.h"
#include "hosts/linux/codesign/HashType.h"
#include "hosts/linux/codesign/TrustRoots.h"

#include <ctime>
#include <optional>
#include <span>
#include <vector>

namespace InstallerCore::CodeSign {

// Who signed, once that is proven.
struct Signer {
    std::vector<Certificate> chain;       // the leaf first, a trusted root last
    std::optional<std::time_t> timeStamp; // when, as a time-stamp authority under a trusted root says
};

// A code directory as the signature must name it.
struct SignedDirectory {
    HashType type;
    ByteView blob; // whole, with its header
};

// Proves that the CMS message (the content of the blob at slot 0x10000) signs the first directory and names
// all of them in its lists of hashes (which a signature of one directory may lack, see HashAttributes.h),
// that its time stamp, if there is one, is one over this signature, and that both chains lead to a trusted
// root, each at its time: the signer's at the time stamp or, without one, now. Throws SignatureError. Pure
// but for memory; any thread.
//
// Layouts: RFC 5652, RFC 3161; the two attributes with hashes are Apple's, 1.2.840.113635.100.9.1 and .2.
[[nodiscard]] Signer verifyCms(ByteView message, std::span<const SignedDirectory> directories,
                               const TrustRoots& roots, std::time_t now);

} // namespace InstallerCore::CodeSign
