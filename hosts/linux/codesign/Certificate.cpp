#include "hosts/linux/codesign/Certificate.h"

#include "hosts/linux/codesign/Asn1.h"
#include "hosts/linux/codesign/HashType.h"
#include "hosts/linux/codesign/SignatureError.h"

#include <openssl/objects.h>
#include <openssl/x509.h>

namespace InstallerCore::CodeSign {

namespace {

// Real ones take 1 to 2 KiB.
constexpr std::size_t largestCertificate = std::size_t{64} << 10U;

// The attribute's only entry; null when there is none or more.
const X509_NAME_ENTRY* onlyEntry(const X509* certificate, int attribute) {
    const X509_NAME* const subject = X509_get_subject_name(certificate);
    const int position = X509_NAME_get_index_by_NID(subject, attribute, -1);
    if (position < 0 || X509_NAME_get_index_by_NID(subject, attribute, position) >= 0) {
        return nullptr;
    }
    return X509_NAME_get_entry(subject, position);
}

struct OpenSslFree {
    void operator()(unsigned char* text) const noexcept { OPENSSL_free(text); }
};

} // namespace

Certificate::Certificate(X509* certificate) {
    X509_up_ref(certificate);
    certificate_ = {certificate, X509_free};
}

Certificate Certificate::parse(ByteView der) {
    const DroppedErrors errors;
    demand(der.size() <= largestCertificate, "a certificate is too large");
    const auto certificate = parseWhole<X509_free>(der, d2i_X509);
    demand(certificate != nullptr, "a certificate is damaged");
    return Certificate(certificate.get());
}

Bytes Certificate::der() const {
    unsigned char* encoded = nullptr;
    const int size = i2d_X509(certificate_.get(), &encoded);
    const std::unique_ptr<unsigned char, OpenSslFree> owner(allocated(encoded));
    const auto bytes = std::as_bytes(std::span(encoded, static_cast<std::size_t>(size)));
    return {bytes.begin(), bytes.end()};
}

Bytes Certificate::fingerprint() const {
    return hash(HashType::sha256, der());
}

bool Certificate::hasExtension(const std::string& identifier) const {
    const ObjectIdentifier object = objectIdentifier(identifier);
    return object != nullptr && X509_get_ext_by_OBJ(certificate_.get(), object.get(), -1) >= 0;
}

std::optional<std::string> Certificate::subject(const std::string& attribute) const {
    const DroppedErrors errors;
    const int number = OBJ_sn2nid(attribute.c_str());
    const X509_NAME_ENTRY* const entry =
        number == NID_undef ? nullptr : onlyEntry(certificate_.get(), number);
    if (entry == nullptr) {
        return std::nullopt;
    }
    unsigned char* text = nullptr;
    const int length = ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(entry));
    const std::unique_ptr<unsigned char, OpenSslFree> owner(text);
    if (length < 0) {
        return std::nullopt;
    }
    std::string value(asText(std::as_bytes(std::span(text, static_cast<std::size_t>(length)))));
    return value.find('\0') == std::string::npos ? std::optional(std::move(value)) : std::nullopt;
}

} // namespace InstallerCore::CodeSign
