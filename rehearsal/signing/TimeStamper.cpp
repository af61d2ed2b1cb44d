#include "rehearsal/signing/TimeStamper.h"

#include "rehearsal/signing/OpenSsl.h"

#include <openssl/rand.h>

namespace InstallerCore::Rehearsal {

namespace {

constexpr const char* what = "time stamp";

Bytes information(ByteView value, std::time_t time, SignatureHash hash) {
    const Bytes hashed = digest(hash, value);
    const auto name = owned(X509_ALGOR_new(), what);
    X509_ALGOR_set_md(name.get(), algorithm(hash));
    const auto imprint = owned(TS_MSG_IMPRINT_new(), what);
    check(TS_MSG_IMPRINT_set_algo(imprint.get(), name.get()) == 1 &&
              TS_MSG_IMPRINT_set_msg(imprint.get(),
                                     const_cast<unsigned char*>(raw(hashed)), // only read
                                     static_cast<int>(hashed.size())) == 1,
          what);
    std::uint32_t serial = 0;
    check(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1, what);
    const std::unique_ptr<ASN1_INTEGER, decltype(&ASN1_INTEGER_free)> number(ASN1_INTEGER_new(),
                                                                             ASN1_INTEGER_free);
    check(number != nullptr && ASN1_INTEGER_set_uint64(number.get(), serial) == 1, what);
    const std::unique_ptr<ASN1_GENERALIZEDTIME, decltype(&ASN1_GENERALIZEDTIME_free)> moment(
        ASN1_GENERALIZEDTIME_set(nullptr, time), ASN1_GENERALIZEDTIME_free);

    const auto result = owned(TS_TST_INFO_new(), what);
    check(TS_TST_INFO_set_version(result.get(), 1) == 1 &&
              TS_TST_INFO_set_policy_id(result.get(), object("1.2.3.4.1").get()) == 1 &&
              TS_TST_INFO_set_msg_imprint(result.get(), imprint.get()) == 1 &&
              TS_TST_INFO_set_serial(result.get(), number.get()) == 1 && moment != nullptr &&
              TS_TST_INFO_set_time(result.get(), moment.get()) == 1,
          what);
    return der(i2d_TS_TST_INFO, result.get());
}

} // namespace

// Put together as a CMS message: OpenSSL's own maker of tokens refuses the unsuitable certificates that some
// tests want to see refused by the other side.
Bytes makeTimeStamp(const SigningIdentity& identity, ByteView value, std::time_t time, SignatureHash hash) {
    const Bytes content = information(value, time, hash);
    const auto token = owned(CMS_sign(nullptr, nullptr, nullptr, nullptr, CMS_PARTIAL | CMS_BINARY), what);
    check(CMS_set1_eContentType(token.get(), OBJ_nid2obj(NID_id_smime_ct_TSTInfo)) == 1, what);
    CMS_SignerInfo* const signer = CMS_add1_signer(token.get(), identity.certificate(Role::timeStampLeaf),
                                                   identity.key(Role::timeStampLeaf), algorithm(hash),
                                                   CMS_PARTIAL | CMS_BINARY | CMS_NOSMIMECAP | CMS_CADES);
    check(signer != nullptr, what);
    const std::unique_ptr<ASN1_TIME, decltype(&ASN1_TIME_free)> moment(ASN1_TIME_set(nullptr, time),
                                                                       ASN1_TIME_free);
    check(moment != nullptr &&
              CMS_signed_add1_attr_by_NID(signer, NID_pkcs9_signingTime, moment->type, moment.get(), -1) == 1,
          what);
    for (const Role role : {Role::timeStampAuthority, Role::root}) {
        check(CMS_add1_cert(token.get(), identity.certificate(role)) == 1, what);
    }
    const auto source = owned(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())), what);
    check(CMS_final(token.get(), source.get(), nullptr, CMS_BINARY) == 1, what);
    return der(i2d_CMS_ContentInfo, token.get());
}

} // namespace InstallerCore::Rehearsal
