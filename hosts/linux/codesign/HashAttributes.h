#pragma once

#include "hosts/linux/codesign/CmsSignature.h"

#include <openssl/cms.h>

namespace InstallerCore::CodeSign {

// The signer's lists of the code directories' hashes must name all of the directories and nothing else:
//   1.2.840.113635.100.9.1: an octet string, a property list {"cdhashes": [20 bytes each]}, ascending by the
//                           directories' kind of hash
//   1.2.840.113635.100.9.2: for each directory a SEQUENCE { digest OID, OCTET STRING }, the hash in full
//   length
// Signatures of one directory were made without the lists until 2015, and are sound without them: the
// signature itself is over that directory. With more directories the first list is needed. Throws
// SignatureError. Any thread.
void verifyHashAttributes(const CMS_SignerInfo* signer, std::span<const SignedDirectory> directories);

} // namespace InstallerCore::CodeSign
