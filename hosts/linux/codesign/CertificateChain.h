#pragma once

#include "hosts/linux/codesign/Certificate.h"
#include "hosts/linux/codesign/OpenSsl.h"
#include "hosts/linux/codesign/TrustRoots.h"

#include <ctime>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace InstallerCore::CodeSign {

// What the owner of a leaf certificate must be allowed to do.
struct LeafRule {
    const char* owner;                  // for sentences: "signer"
    std::uint32_t extendedKeyUsage = 0; // XKU_... of <openssl/x509v3.h>, all of them; 0: whatever it states
    std::set<std::string> criticalMarkers; // extensions that may be critical though OpenSSL knows them not
};

// The most certificates that one message may bring along; Apple's bring three.
inline constexpr std::size_t mostCertificates = 8;

// The way from the leaf to one of the roots, both included, as it was valid at that time. Authorities come
// from the helpers, a root from the helpers or from those at hand; what the helpers bring is never trusted
// for itself. Every authority says that it is one, every key and digest is of decent strength, and the leaf
// follows the rule and may sign. Throws SignatureError. Any thread.
[[nodiscard]] std::vector<Certificate> verifyChain(const Certificate& leaf,
                                                   std::span<const Certificate> helpers,
                                                   const TrustRoots& roots, std::time_t when,
                                                   const LeafRule& rule);

// What a message brings is what its chain needs: an idle certificate is part of nothing that is proven, and
// could be altered unseen. Throws SignatureError.
void demandNoIdle(std::span<const Certificate> brought, std::span<const Certificate> chain);

// The roots, as OpenSSL takes them: those at hand and those among the helpers.
[[nodiscard]] Owned<X509_STORE, X509_STORE_free> trustStore(const TrustRoots& roots,
                                                            std::span<const Certificate> helpers);

// The certificates, as OpenSSL takes them.
[[nodiscard]] OwnedCertificates stackOf(std::span<const Certificate> certificates);

// The certificates of a message, none when it is null. More than mostCertificates throw SignatureError.
[[nodiscard]] std::vector<Certificate> listOf(const STACK_OF(X509) * certificates);

} // namespace InstallerCore::CodeSign
