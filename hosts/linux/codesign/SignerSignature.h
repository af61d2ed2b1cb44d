#pragma once

#include "hosts/linux/codesign/Certificate.h"

#include <openssl/cms.h>

namespace InstallerCore::CodeSign {

// Proves that the holder of the leaf's key signed the content by way of the signed attributes of the
// message's only signer. The signature counts over the attributes' bytes as they lie in the message: some
// signers did not sort the values of an attribute, and OpenSSL's own check puts them in order first. What
// OpenSSL read of the attributes is held against those bytes, so that it may be asked for them. Throws
// SignatureError. Any thread.
void verifySignerSignature(ByteView message, CMS_SignerInfo* signer, const Certificate& leaf,
                           ByteView content);

} // namespace InstallerCore::CodeSign
