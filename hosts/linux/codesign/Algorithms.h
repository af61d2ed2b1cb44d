#pragma once

#include <openssl/types.h>

namespace InstallerCore::CodeSign {

// Which algorithms a message may be made with. Each must come without parameters. Pure; any thread.

// SHA-1, SHA-256, SHA-384 or SHA-512, by OpenSSL's number or as a message names it.
[[nodiscard]] bool isDecentDigest(int number);
[[nodiscard]] bool isDecentDigest(const X509_ALGOR* digest);

// RSA with the padding of PKCS #1 version 1.5, or ECDSA; over that digest if the algorithm names one.
[[nodiscard]] bool isDecentSignature(const X509_ALGOR* signature, const X509_ALGOR* digest);

} // namespace InstallerCore::CodeSign
