#include "hosts/linux/codesign/TimeStamp.h"

#include "hosts/linux/codesign/Algorithms.h"
#include "hosts/linux/codesign/CertificateChain.h"
#include "hosts/linux/codesign/SignatureError.h"

#include <openssl/objects.h>
#include <openssl/pkcs7.h>
#include <openssl/ts.h>
#include <openssl/x509v3.h>

namespace InstallerCore::CodeSign {

namespace {

void freeStackOnly(STACK_OF(X509) * certificates) {
    sk_X509_free(certificates);
}

PKCS7_SIGNER_INFO* onlySigner(PKCS7* token) {
    STACK_OF(PKCS7_SIGNER_INFO)* const signers = PKCS7_get_signer_info(token);
    demand(signers != nullptr && sk_PKCS7_SIGNER_INFO_num(signers) == 1, "the time stamp has not one signer");
    return sk_PKCS7_SIGNER_INFO_value(signers, 0);
}

Certificate signerCertificate(PKCS7* token) {
    const Owned<STACK_OF(X509), freeStackOnly> signers(PKCS7_get0_signers(token, nullptr, 0));
    demand(signers != nullptr && sk_X509_num(signers.get()) == 1,
           "the time stamp lacks its signer's certificate");
    return Certificate(sk_X509_value(signers.get(), 0));
}

std::time_t timeOf(const TS_TST_INFO* info) {
    std::tm time{};
    demand(ASN1_TIME_to_tm(TS_TST_INFO_get_time(info), &time) == 1, "the time stamp's time is damaged");
    return ::timegm(&time);
}

void demandDecentAlgorithms(PKCS7_SIGNER_INFO* signer, TS_TST_INFO* info) {
    X509_ALGOR* digest = nullptr;
    X509_ALGOR* signature = nullptr;
    PKCS7_SIGNER_INFO_get0_algs(signer, nullptr, &digest, &signature);
    const X509_ALGOR* const imprint = TS_MSG_IMPRINT_get_algo(TS_TST_INFO_get_msg_imprint(info));
    demand(isDecentDigest(digest) && isDecentDigest(imprint) && isDecentSignature(signature, digest),
           "the time stamp is made with weak or unknown algorithms");
}

// RFC 3161, 2.3: the extension is critical and names time stamps alone.
void demandForTimeStampsOnly(const Certificate& signer) {
    X509* const certificate = signer.get();
    const int position = X509_get_ext_by_NID(certificate, NID_ext_key_usage, -1);
    demand(position >= 0 && X509_EXTENSION_get_critical(X509_get_ext(certificate, position)) == 1 &&
               X509_get_extended_key_usage(certificate) == XKU_TIMESTAMP,
           "the certificate of the time-stamp authority is not for time stamps alone");
}

void verifyToken(PKCS7* token, ByteView signature, std::span<const Certificate> helpers,
                 const TrustRoots& roots, std::time_t time) {
    auto store = trustStore(roots, helpers);
    X509_VERIFY_PARAM_set_time(X509_STORE_get0_param(store.get()), time);
    const Owned<TS_VERIFY_CTX, TS_VERIFY_CTX_free> context(allocated(TS_VERIFY_CTX_new()));
    TS_VERIFY_CTX_set_flags(context.get(), TS_VFY_VERSION | TS_VFY_SIGNATURE | TS_VFY_DATA);
    // The context owns what it is given.
    TS_VERIFY_CTX_set_store(context.get(), store.release());
    TS_VERIFY_CTX_set_certs(context.get(), stackOf(helpers).release());
    TS_VERIFY_CTX_set_data(context.get(), reading(signature).release());
    demand(TS_RESP_verify_token(context.get(), token) == 1, "the time stamp is not one over this signature");
}

} // namespace

std::time_t verifyTimeStamp(ByteView token, ByteView signature, std::span<const Certificate> helpers,
                            const TrustRoots& roots, std::time_t now) {
    const DroppedErrors errors;
    const auto parsed = parseWhole<PKCS7_free>(token, d2i_PKCS7);
    demand(parsed != nullptr && PKCS7_type_is_signed(parsed.get()), "the time stamp is damaged");
    const Owned<TS_TST_INFO, TS_TST_INFO_free> info(PKCS7_to_TS_TST_INFO(parsed.get()));
    demand(info != nullptr, "the time stamp is damaged");
    demandDecentAlgorithms(onlySigner(parsed.get()), info.get());

    const std::time_t time = timeOf(info.get());
    demand(time <= now + clockAllowance, "the time stamp lies in the future");
    const std::vector<Certificate> brought = listOf(parsed->d.sign->cert);
    std::vector<Certificate> certificates = brought;
    certificates.insert(certificates.end(), helpers.begin(), helpers.end());
    const Certificate signer = signerCertificate(parsed.get());
    demandNoIdle(brought, verifyChain(signer, certificates, roots, time,
                                      {.owner = "time-stamp authority", .extendedKeyUsage = XKU_TIMESTAMP}));
    demandForTimeStampsOnly(signer);
    verifyToken(parsed.get(), signature, certificates, roots, time);
    return time;
}

} // namespace InstallerCore::CodeSign
