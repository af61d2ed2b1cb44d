#pragma once

#include "InstallerCore/support/Bytes.h"

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/ts.h>
#include <openssl/x509.h>

#include <memory>
#include <stdexcept>
#include <string>

// What the sources here share to work with OpenSSL; not for others.
namespace InstallerCore::Rehearsal {

struct OpenSslDeleter {
    void operator()(ASN1_OBJECT* object) const noexcept { ASN1_OBJECT_free(object); }

    void operator()(ASN1_OCTET_STRING* text) const noexcept { ASN1_OCTET_STRING_free(text); }

    void operator()(BIO* bio) const noexcept { BIO_free(bio); }

    void operator()(CMS_ContentInfo* message) const noexcept { CMS_ContentInfo_free(message); }

    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }

    void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }

    void operator()(TS_TST_INFO* information) const noexcept { TS_TST_INFO_free(information); }

    void operator()(TS_MSG_IMPRINT* imprint) const noexcept { TS_MSG_IMPRINT_free(imprint); }

    void operator()(X509* certificate) const noexcept { X509_free(certificate); }

    void operator()(X509_ALGOR* algorithm) const noexcept { X509_ALGOR_free(algorithm); }

    void operator()(X509_EXTENSION* extension) const noexcept { X509_EXTENSION_free(extension); }
};

template <typename T>
using Owned = std::unique_ptr<T, OpenSslDeleter>;

// Throws std::runtime_error when a call of OpenSSL failed; what names the work.
inline void check(bool done, const char* what) {
    if (!done) {
        throw std::runtime_error(std::string("OpenSSL failed: ") + what);
    }
}

template <typename T>
Owned<T> owned(T* object, const char* what) {
    check(object != nullptr, what);
    return Owned<T>(object);
}

inline Owned<ASN1_OBJECT> object(const std::string& identifier) {
    return owned(OBJ_txt2obj(identifier.c_str(), 1), "object identifier");
}

// For the many pairs of pointer and length in OpenSSL.
inline const unsigned char* raw(ByteView bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

// The DER form of a value, by one of the i2d functions.
template <typename Encode, typename T>
Bytes der(Encode encode, const T* value) {
    const int size = encode(value, nullptr);
    check(size > 0, "encoding");
    Bytes bytes(static_cast<std::size_t>(size));
    auto* end = reinterpret_cast<unsigned char*>(bytes.data());
    check(encode(value, &end) == size, "encoding");
    return bytes;
}

// The signature of the content: PKCS #1 for RSA, DER for elliptic curves.
[[nodiscard]] Bytes signatureOf(ByteView content, EVP_PKEY* key, const EVP_MD* function);

} // namespace InstallerCore::Rehearsal
