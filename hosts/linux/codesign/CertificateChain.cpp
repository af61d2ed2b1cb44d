#include "hosts/linux/codesign/CertificateChain.h"

#include "hosts/linux/codesign/Algorithms.h"
#include "hosts/linux/codesign/Asn1.h"
#include "hosts/linux/codesign/SignatureError.h"

#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>

namespace InstallerCore::CodeSign {

namespace {

constexpr int fewestRsaBits = 2048;
constexpr int fewestEcBits = 256;

// Whether all critical extensions that OpenSSL does not know are among these.
bool hasOnlyCritical(const std::set<std::string>& markers, X509* certificate) {
    for (int i = 0; i < X509_get_ext_count(certificate); ++i) {
        X509_EXTENSION* const extension = X509_get_ext(certificate, i);
        if (X509_EXTENSION_get_critical(extension) == 1 && X509_supported_extension(extension) == 0 &&
            !markers.contains(dotted(X509_EXTENSION_get_object(extension)))) {
            return false;
        }
    }
    return true;
}

// OpenSSL's question on a failed check: whether to go on.
int judgeFailure(int passed, X509_STORE_CTX* context) {
    const auto* const rule = static_cast<const LeafRule*>(X509_STORE_CTX_get_app_data(context));
    if (passed == 0 && X509_STORE_CTX_get_error(context) == X509_V_ERR_UNHANDLED_CRITICAL_EXTENSION &&
        X509_STORE_CTX_get_error_depth(context) == 0 &&
        hasOnlyCritical(rule->criticalMarkers, X509_STORE_CTX_get_current_cert(context))) {
        X509_STORE_CTX_set_error(context, X509_V_OK);
        return 1;
    }
    return passed;
}

// What is wrong, to stand behind the certificate's name; empty when it is the way to a root that is missing.
std::string fault(int error) {
    switch (error) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        return "had expired";
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return "was not valid yet";
    case X509_V_ERR_UNHANDLED_CRITICAL_EXTENSION:
        return "has an unknown critical extension";
    case X509_V_ERR_CERT_SIGNATURE_FAILURE:
        return "is not signed by its authority";
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        return {};
    default:
        return std::string("is refused: ") + X509_verify_cert_error_string(error);
    }
}

[[noreturn]] void refuse(X509_STORE_CTX* context, const std::string& owner) {
    const std::string reason = fault(X509_STORE_CTX_get_error(context));
    if (reason.empty()) {
        throw SignatureError("the certificates of the " + owner + " do not lead to a trusted root");
    }
    const bool isLeaf = X509_STORE_CTX_get_error_depth(context) == 0;
    throw SignatureError((isLeaf ? "the certificate of the " : "a certificate authority of the ") + owner +
                         " " + reason);
}

void demandStrength(const Certificate& certificate, bool isRoot) {
    const EVP_PKEY* const key = X509_get0_pubkey(certificate.get());
    const int kind = key == nullptr ? EVP_PKEY_NONE : EVP_PKEY_get_base_id(key);
    const int bits = key == nullptr ? 0 : EVP_PKEY_get_bits(key);
    demand((kind == EVP_PKEY_RSA && bits >= fewestRsaBits) || (kind == EVP_PKEY_EC && bits >= fewestEcBits),
           "a certificate's key is neither RSA of 2048 bits nor EC of 256 bits at least");
    int digest = NID_undef;
    X509_get_signature_info(certificate.get(), &digest, nullptr, nullptr, nullptr);
    // A root is known by its fingerprint; its signature says nothing.
    demand(isRoot || isDecentDigest(digest), "a certificate is signed with a weak digest");
}

void demandAuthority(const Certificate& certificate) {
    constexpr std::uint32_t needed = EXFLAG_BCONS | EXFLAG_CA;
    demand((X509_get_extension_flags(certificate.get()) & needed) == needed,
           "a certificate was issued by one that is no authority");
}

void demandLeaf(const Certificate& leaf, const LeafRule& rule) {
    X509* const certificate = leaf.get();
    const std::uint32_t stated = X509_get_extension_flags(certificate);
    if ((stated & EXFLAG_KUSAGE) == 0 || (X509_get_key_usage(certificate) & KU_DIGITAL_SIGNATURE) == 0) {
        throw SignatureError(std::string("the certificate of the ") + rule.owner + " is not for signatures");
    }
    if (rule.extendedKeyUsage != 0 &&
        ((stated & EXFLAG_XKUSAGE) == 0 ||
         (X509_get_extended_key_usage(certificate) & rule.extendedKeyUsage) != rule.extendedKeyUsage)) {
        throw SignatureError(std::string("the certificate of the ") + rule.owner + " is for another purpose");
    }
}

Owned<X509_STORE_CTX, X509_STORE_CTX_free> makeContext(X509_STORE* store, const Certificate& leaf,
                                                       STACK_OF(X509) * helpers, std::time_t when,
                                                       const LeafRule& rule) {
    Owned<X509_STORE_CTX, X509_STORE_CTX_free> context(allocated(X509_STORE_CTX_new()));
    if (X509_STORE_CTX_init(context.get(), store, leaf.get(), helpers) != 1) {
        throw std::bad_alloc();
    }
    X509_VERIFY_PARAM* const parameters = X509_STORE_CTX_get0_param(context.get());
    X509_VERIFY_PARAM_set_purpose(parameters, X509_PURPOSE_ANY);
    X509_VERIFY_PARAM_set_time(parameters, when);
    X509_STORE_CTX_set_verify_cb(context.get(), judgeFailure);
    X509_STORE_CTX_set_app_data(context.get(), const_cast<LeafRule*>(&rule));
    return context;
}

} // namespace

std::vector<Certificate> verifyChain(const Certificate& leaf, std::span<const Certificate> helpers,
                                     const TrustRoots& roots, std::time_t when, const LeafRule& rule) {
    const DroppedErrors errors;
    const auto store = trustStore(roots, helpers);
    const OwnedCertificates stack = stackOf(helpers);
    const auto context = makeContext(store.get(), leaf, stack.get(), when, rule);
    if (X509_verify_cert(context.get()) != 1) {
        refuse(context.get(), rule.owner);
    }
    std::vector<Certificate> chain = listOf(X509_STORE_CTX_get0_chain(context.get()));
    demand(!chain.empty() && roots.contain(chain.back()), "the certificates do not lead to a trusted root");
    std::for_each(chain.begin() + 1, chain.end(), demandAuthority);
    for (const Certificate& certificate : chain) {
        demandStrength(certificate, &certificate == &chain.back());
    }
    demandLeaf(leaf, rule);
    return chain;
}

void demandNoIdle(std::span<const Certificate> brought, std::span<const Certificate> chain) {
    const auto isIdle = [&](const Certificate& certificate) {
        return std::ranges::none_of(
            chain, [&](const Certificate& each) { return each.fingerprint() == certificate.fingerprint(); });
    };
    demand(std::ranges::none_of(brought, isIdle),
           "the signature brings a certificate that is not of its chain");
}

Owned<X509_STORE, X509_STORE_free> trustStore(const TrustRoots& roots, std::span<const Certificate> helpers) {
    Owned<X509_STORE, X509_STORE_free> store(allocated(X509_STORE_new()));
    const auto add = [&](const Certificate& certificate) {
        if (X509_STORE_add_cert(store.get(), certificate.get()) != 1) {
            throw std::bad_alloc();
        }
    };
    std::for_each(roots.certificates().begin(), roots.certificates().end(), add);
    for (const Certificate& certificate : helpers) {
        if (roots.contain(certificate)) {
            add(certificate);
        }
    }
    return store;
}

OwnedCertificates stackOf(std::span<const Certificate> certificates) {
    OwnedCertificates stack(allocated(sk_X509_new_null()));
    for (const Certificate& certificate : certificates) {
        if (X509_add_cert(stack.get(), certificate.get(), X509_ADD_FLAG_UP_REF) != 1) {
            throw std::bad_alloc();
        }
    }
    return stack;
}

std::vector<Certificate> listOf(const STACK_OF(X509) * certificates) {
    const int count = certificates == nullptr ? 0 : sk_X509_num(certificates);
    demand(count <= static_cast<int>(mostCertificates), "the signature brings too many certificates");
    std::vector<Certificate> result;
    result.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        result.emplace_back(sk_X509_value(certificates, i));
    }
    return result;
}

} // namespace InstallerCore::CodeSign
