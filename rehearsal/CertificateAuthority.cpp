#include "rehearsal/CertificateAuthority.h"

#include "hosts/posix/Descriptor.h"

#include <fcntl.h>
#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace InstallerCore::Rehearsal {

namespace {

struct OpenSslDeleter {
    void operator()(BIO* bio) const noexcept { BIO_free(bio); }

    void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }

    void operator()(X509* certificate) const noexcept { X509_free(certificate); }

    void operator()(X509_EXTENSION* extension) const noexcept { X509_EXTENSION_free(extension); }
};

template <typename T>
using Owned = std::unique_ptr<T, OpenSslDeleter>;

void check(bool done) {
    if (!done) {
        throw std::runtime_error("OpenSSL could not make a certificate");
    }
}

Owned<EVP_PKEY> makeKey() {
    Owned<EVP_PKEY> key(EVP_EC_gen("P-256"));
    check(key != nullptr);
    return key;
}

void setSerialNumber(X509* certificate) {
    std::uint64_t serial = 0;
    std::array<unsigned char, sizeof serial> random{};
    check(RAND_bytes(random.data(), static_cast<int>(random.size())) == 1);
    for (const unsigned char byte : random) {
        serial = serial << 8U | byte;
    }
    check(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1U) == 1);
}

void setName(X509_NAME* name, const std::string& text) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
    check(X509_NAME_add_entry_by_NID(name, NID_commonName, MBSTRING_UTF8, bytes,
                                     static_cast<int>(text.size()), -1, 0) == 1);
}

void addExtension(X509* certificate, X509* issuer, int id, const std::string& value) {
    X509V3_CTX context{};
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Owned<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, id, value.c_str()));
    check(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1);
}

// All but the extensions and the signature. Without an issuer it is its own.
Owned<X509> makeCertificate(EVP_PKEY* key, const std::string& name, const X509* issuer, Validity validity) {
    Owned<X509> certificate(X509_new());
    check(certificate != nullptr && X509_set_version(certificate.get(), X509_VERSION_3) == 1);
    setSerialNumber(certificate.get());
    setName(X509_get_subject_name(certificate.get()), name);
    const X509* const signer = issuer != nullptr ? issuer : certificate.get();
    check(X509_set_issuer_name(certificate.get(), X509_get_subject_name(signer)) == 1);
    check(X509_gmtime_adj(X509_getm_notBefore(certificate.get()), validity.begin.count()) != nullptr);
    check(X509_gmtime_adj(X509_getm_notAfter(certificate.get()), validity.end.count()) != nullptr);
    check(X509_set_pubkey(certificate.get(), key) == 1);
    return certificate;
}

template <typename Write>
std::string pem(Write write) {
    const Owned<BIO> memory(BIO_new(BIO_s_mem()));
    check(memory != nullptr && write(memory.get()) == 1);
    char* text = nullptr;
    const auto length = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

std::string certificatePem(X509* certificate) {
    return pem([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate); });
}

std::string keyPem(EVP_PKEY* key) {
    return pem(
        [&](BIO* bio) { return PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr); });
}

std::string alternativeNames(const std::vector<std::string>& hosts) {
    std::string names;
    for (const std::string& host : hosts) {
        names += (names.empty() ? "DNS:" : ",DNS:") + host;
    }
    return names;
}

} // namespace

void CertificateAuthority::Deleter::operator()(EVP_PKEY* key) const noexcept {
    EVP_PKEY_free(key);
}

void CertificateAuthority::Deleter::operator()(X509* certificate) const noexcept {
    X509_free(certificate);
}

CertificateAuthority::CertificateAuthority() : key_(makeKey().release()) {
    root_.reset(makeCertificate(key_.get(), "Rehearsal Root", nullptr, {}).release());
    addExtension(root_.get(), root_.get(), NID_basic_constraints, "critical,CA:TRUE");
    addExtension(root_.get(), root_.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(root_.get(), root_.get(), NID_subject_key_identifier, "hash");
    check(X509_sign(root_.get(), key_.get(), EVP_sha256()) > 0);
    certificate_ = certificatePem(root_.get());
}

CertificateAuthority::~CertificateAuthority() = default;

ServerCertificate CertificateAuthority::issue(const std::vector<std::string>& hosts,
                                              Validity validity) const {
    const Owned<EVP_PKEY> key = makeKey();
    const Owned<X509> server = makeCertificate(key.get(), "Rehearsal Server", root_.get(), validity);
    addExtension(server.get(), root_.get(), NID_basic_constraints, "critical,CA:FALSE");
    addExtension(server.get(), root_.get(), NID_key_usage, "critical,digitalSignature");
    addExtension(server.get(), root_.get(), NID_ext_key_usage, "serverAuth");
    addExtension(server.get(), root_.get(), NID_authority_key_identifier, "keyid");
    addExtension(server.get(), root_.get(), NID_subject_alt_name, alternativeNames(hosts));
    check(X509_sign(server.get(), key_.get(), EVP_sha256()) > 0);
    return {.certificate = certificatePem(server.get()), .privateKey = keyPem(key.get())};
}

void writePrivateFile(const std::filesystem::path& file, const std::string& text) {
    constexpr mode_t ownerOnly = 0600;
    const Descriptor descriptor(::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, ownerOnly));
    if (::write(descriptor.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

} // namespace InstallerCore::Rehearsal
