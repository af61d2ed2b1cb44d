#include "hosts/linux/codesign/CmsSignature.h"

#include "hosts/linux/codesign/Algorithms.h"
#include "hosts/linux/codesign/Asn1.h"
#include "hosts/linux/codesign/CertificateChain.h"
#include "hosts/linux/codesign/HashAttributes.h"
#include "hosts/linux/codesign/SignatureError.h"
#include "hosts/linux/codesign/SignerSignature.h"
#include "hosts/linux/codesign/TimeStamp.h"

#include <openssl/cms.h>
#include <openssl/objects.h>
#include <openssl/x509v3.h>

#include <algorithm>

namespace InstallerCore::CodeSign {

namespace {

// Real ones take about 9 KiB.
constexpr std::size_t largestMessage = std::size_t{256} << 10U;

// OpenSSL's way to say: it must be the only attribute of its kind, with one value.
constexpr int onlyOne = -3;

// Marks of the leaves that Apple gives out. All of them are sound; a requirement or the execution policy says
// which ones it wants.
const std::set<std::string>& leafMarkers() {
    static const std::set<std::string> markers = {
        Marker::developerIdLeaf,
        "1.2.840.113635.100.6.1.2",  // development on devices
        "1.2.840.113635.100.6.1.7",  // the Mac App Store
        "1.2.840.113635.100.6.1.12", // development on Macs
    };
    return markers;
}

using Message = Owned<CMS_ContentInfo, CMS_ContentInfo_free>;

Message parseMessage(ByteView encoded) {
    demand(encoded.size() <= largestMessage, "the signature's message is too large");
    Message message = parseWhole<CMS_ContentInfo_free>(encoded, d2i_CMS_ContentInfo);
    demand(message != nullptr && OBJ_obj2nid(CMS_get0_type(message.get())) == NID_pkcs7_signed,
           "the signature's message is damaged");
    demand(CMS_is_detached(message.get()) == 1 &&
               OBJ_obj2nid(CMS_get0_eContentType(message.get())) == NID_pkcs7_data,
           "the signature's message has a content of its own");
    return message;
}

CMS_SignerInfo* onlySigner(CMS_ContentInfo* message) {
    STACK_OF(CMS_SignerInfo)* const signers = CMS_get0_SignerInfos(message);
    demand(signers != nullptr && sk_CMS_SignerInfo_num(signers) == 1, "the signature has not one signer");
    return sk_CMS_SignerInfo_value(signers, 0);
}

void demandDecentAlgorithms(CMS_SignerInfo* signer) {
    X509_ALGOR* digest = nullptr;
    X509_ALGOR* signature = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &digest, &signature);
    demand(isDecentDigest(digest) && isDecentSignature(signature, digest),
           "the signature is made with weak or unknown algorithms");
}

// Without signed attributes the signature would be over the directory as it lies, and a directory could be
// made up from the attributes of another signature.
void demandSignedAttributes(CMS_SignerInfo* signer) {
    const auto* const type = static_cast<const ASN1_OBJECT*>(
        CMS_signed_get0_data_by_OBJ(signer, OBJ_nid2obj(NID_pkcs9_contentType), onlyOne, V_ASN1_OBJECT));
    const void* const hash = CMS_signed_get0_data_by_OBJ(signer, OBJ_nid2obj(NID_pkcs9_messageDigest),
                                                         onlyOne, V_ASN1_OCTET_STRING);
    demand(type != nullptr && OBJ_obj2nid(type) == NID_pkcs7_data && hash != nullptr,
           "the signature lacks its signed attributes");
}

const Certificate& certificateOf(CMS_SignerInfo* signer, std::span<const Certificate> certificates) {
    const auto found = std::ranges::find_if(certificates, [&](const Certificate& certificate) {
        return CMS_SignerInfo_cert_cmp(signer, certificate.get()) == 0;
    });
    demand(found != certificates.end(), "the signature lacks its signer's certificate");
    CMS_SignerInfo_set1_signer_cert(signer, found->get());
    return *found;
}

std::vector<Certificate> embeddedCertificates(CMS_ContentInfo* message) {
    const OwnedCertificates certificates(CMS_get1_certs(message));
    return listOf(certificates.get());
}

std::optional<std::time_t> verifiedTimeStamp(CMS_SignerInfo* signer,
                                             std::span<const Certificate> certificates,
                                             const TrustRoots& roots, std::time_t now) {
    const ASN1_OBJECT* const kind = OBJ_nid2obj(NID_id_smime_aa_timeStampToken);
    if (CMS_unsigned_get_attr_by_OBJ(signer, kind, -1) < 0) {
        return std::nullopt;
    }
    const auto* const token = static_cast<const ASN1_STRING*>(
        CMS_unsigned_get0_data_by_OBJ(signer, const_cast<ASN1_OBJECT*>(kind), onlyOne, V_ASN1_SEQUENCE));
    demand(token != nullptr, "the signature has not one time stamp");
    return verifyTimeStamp(content(token), content(CMS_SignerInfo_get0_signature(signer)), certificates,
                           roots, now);
}

} // namespace

Signer verifyCms(ByteView message, std::span<const SignedDirectory> directories, const TrustRoots& roots,
                 std::time_t now) {
    const DroppedErrors errors;
    demand(!directories.empty(), "there is no code directory");
    const Message parsed = parseMessage(message);
    CMS_SignerInfo* const info = onlySigner(parsed.get());
    demandDecentAlgorithms(info);
    demandSignedAttributes(info);
    const std::vector<Certificate> certificates = embeddedCertificates(parsed.get());
    const Certificate& leaf = certificateOf(info, certificates);

    verifySignerSignature(message, info, leaf, directories.front().blob);
    verifyHashAttributes(info, directories);

    const auto timeStamp = verifiedTimeStamp(info, certificates, roots, now);
    const LeafRule rule{
        .owner = "signer", .extendedKeyUsage = XKU_CODE_SIGN, .criticalMarkers = leafMarkers()};
    Signer signer{.chain = verifyChain(leaf, certificates, roots, timeStamp.value_or(now), rule),
                  .timeStamp = timeStamp};
    demandNoIdle(certificates, signer.chain);
    return signer;
}

} // namespace InstallerCore::CodeSign
