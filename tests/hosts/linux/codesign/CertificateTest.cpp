#include "hosts/linux/codesign/Certificate.h"

#include "tests/hosts/linux/codesign/SigningFixture.h"

#include <openssl/x509.h>

#include <memory>

namespace InstallerCore {

namespace {

using namespace Testing;
using CodeSign::Certificate;
using Rehearsal::Role;

class CertificateTest : public SigningFixture {
protected:
    const Certificate leaf_ = certificate(identity_, Role::leaf);
};

// A certificate with nothing in it but a subject of these attributes.
class SubjectTest : public ::testing::Test {
protected:
    void add(const char* attribute, std::string_view value, int kind = MBSTRING_UTF8) {
        ASSERT_EQ(X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate_.get()), attribute, kind,
                                             reinterpret_cast<const unsigned char*>(value.data()),
                                             static_cast<int>(value.size()), -1, 0),
                  1);
    }

    [[nodiscard]] std::optional<std::string> subject(const std::string& attribute) const {
        return Certificate(certificate_.get()).subject(attribute);
    }

    std::unique_ptr<X509, decltype(&X509_free)> certificate_{X509_new(), X509_free};
};

TEST_F(CertificateTest, IsWhatItWasMadeOf) {
    const Bytes der = leaf_.der();
    const Certificate parsed = Certificate::parse(der);
    EXPECT_EQ(parsed.der(), der);
    EXPECT_EQ(parsed.fingerprint(), CodeSign::hash(CodeSign::HashType::sha256, der));
    EXPECT_NE(parsed.fingerprint(), certificate(identity_, Role::root).fingerprint());
}

TEST_F(CertificateTest, OutlivesWhatItShares) {
    std::unique_ptr<X509, decltype(&X509_free)> original(X509_dup(leaf_.get()), X509_free);
    const Certificate shared(original.get());
    original.reset();
    EXPECT_EQ(shared.der(), leaf_.der());
}

TEST_F(CertificateTest, IsExactlyOneEncoding) {
    const Bytes der = leaf_.der();
    for (std::size_t size = 0; size < der.size(); size += 7) {
        expectSignatureError("a certificate is damaged",
                             [&] { (void)Certificate::parse(ByteView(der).first(size)); });
    }
    Bytes longer = der;
    longer.push_back(std::byte{0});
    expectSignatureError("a certificate is damaged", [&] { (void)Certificate::parse(longer); });
    expectSignatureError("a certificate is too large", [] { (void)Certificate::parse(Bytes(65537)); });
}

TEST_F(CertificateTest, KnowsItsExtensions) {
    EXPECT_TRUE(leaf_.hasExtension(CodeSign::Marker::developerIdLeaf));
    EXPECT_TRUE(leaf_.hasExtension("2.5.29.15"));
    EXPECT_FALSE(leaf_.hasExtension(CodeSign::Marker::developerIdAuthority));
    EXPECT_TRUE(certificate(identity_, Role::authority).hasExtension(CodeSign::Marker::developerIdAuthority));
    for (const std::string text : {"", "keyUsage", "1", "1.", "1.2.840.113635.100.6.1.13.", "9.9.9", "x",
                                   "1.2.840.113635.100.6.1.99999999999999999999999999"}) {
        EXPECT_FALSE(leaf_.hasExtension(text)) << text;
    }
    EXPECT_FALSE(leaf_.hasExtension(std::string(CodeSign::Marker::developerIdLeaf) + '\0'));
}

TEST_F(CertificateTest, KnowsItsSubject) {
    EXPECT_EQ(leaf_.subject("OU"), identity_.team());
    EXPECT_EQ(leaf_.subject("O"), "Kavio Test");
    EXPECT_EQ(leaf_.subject("C"), "US");
    EXPECT_EQ(leaf_.subject("UID"), identity_.team());
    EXPECT_EQ(leaf_.subject("L"), std::nullopt);
    EXPECT_EQ(leaf_.subject("ou"), std::nullopt);
    EXPECT_EQ(leaf_.subject(""), std::nullopt);
    EXPECT_EQ(leaf_.subject("no such attribute"), std::nullopt);
}

TEST_F(SubjectTest, IsUtf8WhateverItsEncoding) {
    add("CN", "K\xe4vio", V_ASN1_T61STRING); // Latin-1, as everybody reads it
    add("O", std::string_view("\0K\0\xe4", 4), V_ASN1_BMPSTRING);
    EXPECT_EQ(subject("CN"), "K\u00e4vio");
    EXPECT_EQ(subject("O"), "K\u00e4");
}

TEST_F(SubjectTest, IsAbsentWhenThereAreTwo) {
    add("OU", "A1B2C3D4E5");
    EXPECT_EQ(subject("OU"), "A1B2C3D4E5");
    add("OU", "A1B2C3D4E5");
    EXPECT_EQ(subject("OU"), std::nullopt);
}

TEST_F(SubjectTest, IsAbsentWithNul) {
    add("OU", std::string_view("A1B2C3D4E5\0x", 12), V_ASN1_UTF8STRING);
    EXPECT_EQ(subject("OU"), std::nullopt);
}

TEST_F(SubjectTest, IsAbsentWhenItsEncodingIsBroken) {
    add("CN", "\xff", V_ASN1_UTF8STRING);
    EXPECT_EQ(subject("CN"), std::nullopt);
}

} // namespace

} // namespace InstallerCore
