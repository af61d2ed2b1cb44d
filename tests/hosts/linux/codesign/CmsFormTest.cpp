#include "rehearsal/signing/TimeStamper.h"
#include "tests/hosts/linux/codesign/CmsFixture.h"

#include <openssl/cms.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <functional>
#include <memory>

namespace InstallerCore {

namespace {

using namespace Testing;
using Rehearsal::Role;

struct OpenSslDeleter {
    void operator()(BIO* bio) const noexcept { BIO_free(bio); }

    void operator()(CMS_ContentInfo* message) const noexcept { CMS_ContentInfo_free(message); }

    void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }

    void operator()(X509* certificate) const noexcept { X509_free(certificate); }

    void operator()(X509_EXTENSION* extension) const noexcept { X509_EXTENSION_free(extension); }
};

template <typename T>
using Owned = std::unique_ptr<T, OpenSslDeleter>;

// Messages that no decent signer makes.
class CmsFormTest : public CmsFixture {
protected:
    using Change = std::function<void(CMS_ContentInfo*, CMS_SignerInfo*)>;

    static void nothing(CMS_ContentInfo* /*cms*/, CMS_SignerInfo* /*signer*/) {}

    // How a message is made.
    struct Form {
        X509* certificate = nullptr; // the leaf's
        EVP_PKEY* key = nullptr;
        const EVP_MD* digest = EVP_sha256();
        unsigned int flags = CMS_DETACHED;
        Change change = nothing;   // before it is signed
        Change addition = nothing; // after
    };

    [[nodiscard]] Bytes message(Form form) const {
        constexpr unsigned int always = CMS_BINARY | CMS_PARTIAL | CMS_NOSMIMECAP;
        const Owned<CMS_ContentInfo> cms(CMS_sign(nullptr, nullptr, nullptr, nullptr, form.flags | always));
        CMS_SignerInfo* const signer = addSigner(cms.get(), form, form.flags | always | CMS_KEY_PARAM);
        for (const Role role : {Role::authority, Role::root}) {
            CMS_add1_cert(cms.get(), identity_.certificate(role));
        }
        form.change(cms.get(), signer);
        const Owned<BIO> content(BIO_new_mem_buf(one_[0].data(), static_cast<int>(one_[0].size())));
        EXPECT_EQ(CMS_final(cms.get(), content.get(), nullptr, form.flags | always), 1);
        form.addition(cms.get(), signer);
        return encoded(cms.get());
    }

    CMS_SignerInfo* addSigner(CMS_ContentInfo* cms, const Form& form, unsigned int flags) const {
        X509* const certificate =
            form.certificate == nullptr ? identity_.certificate(Role::leaf) : form.certificate;
        EVP_PKEY* const key = form.key == nullptr ? identity_.key(Role::leaf) : form.key;
        return CMS_add1_signer(cms, certificate, key, form.digest, flags);
    }

    [[nodiscard]] static Bytes encoded(CMS_ContentInfo* cms) {
        unsigned char* bytes = nullptr;
        const int size = i2d_CMS_ContentInfo(cms, &bytes);
        const auto view = std::as_bytes(std::span(bytes, static_cast<std::size_t>(std::max(size, 0))));
        Bytes result(view.begin(), view.end());
        OPENSSL_free(bytes);
        return result;
    }

    // A leaf of the identity's authority for another key.
    [[nodiscard]] Owned<X509> leafFor(EVP_PKEY* key, const EVP_MD* digest = EVP_sha256()) const {
        Owned<X509> leaf(X509_dup(identity_.certificate(Role::leaf)));
        EXPECT_EQ(X509_set_pubkey(leaf.get(), key), 1);
        EXPECT_GT(X509_sign(leaf.get(), identity_.key(Role::authority), digest), 0);
        return leaf;
    }

    void expectRefusedForm(const std::string& text, const Form& form) const {
        expectRefused(text, message(form), one_);
    }

    // Adds an attribute that is signed, of one value.
    [[nodiscard]] static Change signedAttribute(const char* identifier, int kind, std::string_view value) {
        return [=](CMS_ContentInfo*, CMS_SignerInfo* signer) {
            EXPECT_EQ(CMS_signed_add1_attr_by_txt(signer, identifier, kind, value.data(),
                                                  static_cast<int>(value.size())),
                      1);
        };
    }
};

constexpr const char* hashList = "1.2.840.113635.100.9.2";
constexpr const char* hashPropertyList = "1.2.840.113635.100.9.1";

TEST_F(CmsFormTest, IsAcceptedInItsPlainForm) {
    EXPECT_EQ(verify(message({}), one_).chain.size(), 3U);
}

TEST_F(CmsFormTest, HasNoContentOfItsOwn) {
    const char* const rule = "the signature's message has a content of its own";
    expectRefusedForm(rule, {.flags = 0});
    expectRefusedForm(rule, {.change = [](CMS_ContentInfo* cms, CMS_SignerInfo*) {
                          CMS_set1_eContentType(cms, OBJ_nid2obj(NID_id_smime_ct_TSTInfo));
                      }});
}

TEST_F(CmsFormTest, IsASignatureAndNothingElse) {
    const Owned<BIO> content(BIO_new_mem_buf("x", 1));
    const Owned<CMS_ContentInfo> data(CMS_data_create(content.get(), CMS_BINARY));
    expectRefused("the signature's message is damaged", encoded(data.get()), one_);
}

TEST_F(CmsFormTest, HasSignedAttributes) {
    expectRefusedForm("the signature lacks its signed attributes", {.flags = CMS_DETACHED | CMS_NOATTR});
}

TEST_F(CmsFormTest, IsMadeWithDecentAlgorithms) {
    const char* const rule = "the signature is made with weak or unknown algorithms";
    expectRefusedForm(rule, {.digest = EVP_md5()});
    expectRefusedForm(rule, {.digest = EVP_sha224()});
    expectRefusedForm(rule, {.change = [](CMS_ContentInfo*, CMS_SignerInfo* signer) {
                          EVP_PKEY_CTX_set_rsa_padding(CMS_SignerInfo_get0_pkey_ctx(signer),
                                                       RSA_PKCS1_PSS_PADDING);
                      }});
}

TEST_F(CmsFormTest, HasOneSigner) {
    const char* const rule = "the signature has not one signer";
    expectRefusedForm(rule, {.change = [&](CMS_ContentInfo* cms, CMS_SignerInfo*) {
                          (void)addSigner(cms, {}, CMS_BINARY | CMS_NOSMIMECAP | CMS_NOCERTS);
                      }});
    const Owned<CMS_ContentInfo> nobody(
        CMS_sign(nullptr, nullptr, nullptr, nullptr, CMS_DETACHED | CMS_BINARY | CMS_PARTIAL));
    expectRefused(rule, encoded(nobody.get()), one_);
}

TEST_F(CmsFormTest, BringsItsCertificatesAndNotTooMany) {
    expectRefusedForm("the signature lacks its signer's certificate", {.flags = CMS_DETACHED | CMS_NOCERTS});
    const auto addMany = [&](CMS_ContentInfo* cms, CMS_SignerInfo*) {
        for (int i = 0; i < 6; ++i) {
            const Owned<EVP_PKEY> key(EVP_EC_gen("P-256"));
            CMS_add1_cert(cms, leafFor(key.get()).get());
        }
    };
    expectRefusedForm("the signature brings too many certificates", {.change = addMany});
}

TEST_F(CmsFormTest, HasOneTimeStampOrNone) {
    const auto add = [&](CMS_ContentInfo*, CMS_SignerInfo* signer) {
        const ASN1_OCTET_STRING* const value = CMS_SignerInfo_get0_signature(signer);
        const auto bytes = std::as_bytes(
            std::span(ASN1_STRING_get0_data(value), static_cast<std::size_t>(ASN1_STRING_length(value))));
        const Bytes token =
            Rehearsal::makeTimeStamp(identity_, bytes, now_, Rehearsal::SignatureHash::sha256);
        CMS_unsigned_add1_attr_by_NID(signer, NID_id_smime_aa_timeStampToken, V_ASN1_SEQUENCE, token.data(),
                                      static_cast<int>(token.size()));
    };
    EXPECT_EQ(verify(message({.addition = add}), one_).timeStamp, now_);
    const char* const rule = "the signature has not one time stamp";
    expectRefusedForm(rule, {.addition = [&](CMS_ContentInfo* cms, CMS_SignerInfo* signer) {
                          add(cms, signer);
                          X509_ATTRIBUTE* const attribute = CMS_unsigned_get_attr(signer, 0);
                          const ASN1_TYPE* const token = X509_ATTRIBUTE_get0_type(attribute, 0);
                          X509_ATTRIBUTE_set1_data(attribute, V_ASN1_SEQUENCE,
                                                   ASN1_STRING_get0_data(token->value.sequence),
                                                   ASN1_STRING_length(token->value.sequence));
                      }});
    expectRefusedForm(rule, {.addition = [](CMS_ContentInfo*, CMS_SignerInfo* signer) {
                          CMS_unsigned_add1_attr_by_NID(signer, NID_id_smime_aa_timeStampToken,
                                                        V_ASN1_OCTET_STRING, "x", 1);
                      }});
}

TEST_F(CmsFormTest, MayHaveOtherUnsignedAttributes) {
    const auto add = [](CMS_ContentInfo*, CMS_SignerInfo* signer) {
        CMS_unsigned_add1_attr_by_txt(signer, "1.2.3.4", V_ASN1_OCTET_STRING, "x", 1);
    };
    EXPECT_EQ(verify(message({.addition = add}), one_).timeStamp, std::nullopt);
}

TEST_F(CmsFormTest, ListsFullHashesAsPairs) {
    const char* const rule = "the signer's list of full hashes is damaged";
    using namespace std::string_view_literals;
    expectRefusedForm(rule, {.change = signedAttribute(hashList, V_ASN1_OCTET_STRING, "x")});
    for (const std::string_view value :
         {"\x30\x00"sv, "\x30\x03\x06\x01\x2a"sv, "\x30\x06\x06\x01\x2a\x02\x01\x01"sv,
          "\x30\x06\x04\x01x\x04\x01x"sv, "\x30\x09\x06\x01\x2a\x04\x01x\x04\x01x"sv}) {
        SCOPED_TRACE(hexadecimal(asBytes(value)));
        expectRefusedForm(rule, {.change = signedAttribute(hashList, V_ASN1_SEQUENCE, value)});
    }
}

TEST_F(CmsFormTest, ListsCutHashesInAPropertyList) {
    const char* const damaged = "the signer's property list of hashes is damaged";
    expectRefusedForm(damaged, {.change = signedAttribute(hashPropertyList, V_ASN1_UTF8STRING, "x")});
    const auto list = [](const std::string& content) {
        return "<plist version=\"1.0\">" + content + "</plist>";
    };
    for (const std::string& text : {std::string(), std::string("no list"), list("<array/>"), list("<dict/>"),
                                    list("<dict><key>cdhashes</key><string>x</string></dict>")}) {
        SCOPED_TRACE(text);
        expectRefusedForm(damaged, {.change = signedAttribute(hashPropertyList, V_ASN1_OCTET_STRING, text)});
    }
    const std::string strings = list("<dict><key>cdhashes</key><array><string>x</string></array></dict>");
    expectRefusedForm("the signer's property list of hashes does not fit the code directories",
                      {.change = signedAttribute(hashPropertyList, V_ASN1_OCTET_STRING, strings)});
}

TEST_F(CmsFormTest, HasKeysOfDecentStrength) {
    const auto with = [&](Owned<EVP_PKEY> key) {
        const Owned<X509> leaf = leafFor(key.get());
        return message({.certificate = leaf.get(), .key = key.get()});
    };
    EXPECT_NO_THROW((void)verify(with(Owned<EVP_PKEY>(EVP_EC_gen("P-256"))), one_));
    const char* const rule = "a certificate's key is neither RSA of 2048 bits nor EC of 256 bits at least";
    expectRefused(rule, with(Owned<EVP_PKEY>(EVP_RSA_gen(1024))), one_);
    expectRefused(rule, with(Owned<EVP_PKEY>(EVP_EC_gen("P-224"))), one_);
}

TEST_F(CmsFormTest, HasCertificatesSignedOverADecentDigest) {
    const Owned<X509> leaf = leafFor(identity_.key(Role::leaf), EVP_md5());
    expectRefusedForm("a certificate is signed with a weak digest", {.certificate = leaf.get()});
}

} // namespace

} // namespace InstallerCore
