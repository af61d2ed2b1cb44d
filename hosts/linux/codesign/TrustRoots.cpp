#include "hosts/linux/codesign/TrustRoots.h"

#include "hosts/linux/codesign/OpenSsl.h"
#include "hosts/linux/codesign/SignatureError.h"

#include <openssl/crypto.h>
#include <openssl/pem.h>

#include <array>
#include <stdexcept>

namespace InstallerCore::CodeSign {

namespace {

constexpr std::array appleFingerprints = {
    "b0b1730ecbc7ff4505142c49f1295e6eda6bcaed7e2c68c5be91b5a11001f024", // Apple Root CA
    "c2b9b042dd57830e7d117dac55ac8ae19407d38e41d88f3215bc3a890444a050", // Apple Root CA - G2
    "63343abfb89a6a03ebb57e9b3f5fa7be7c4f5c756f3017b3a8c488c3653e9179", // Apple Root CA - G3
};

struct OpenSslFree {
    template <typename Memory>
    void operator()(Memory* memory) const noexcept {
        OPENSSL_free(memory);
    }
};

template <typename Memory>
using OwnedMemory = std::unique_ptr<Memory, OpenSslFree>;

// The next certificate of the text. Null at the end; anything but a certificate throws.
std::optional<Certificate> nextCertificate(BIO* text) {
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* content = nullptr;
    long size = 0;
    const bool found = PEM_read_bio(text, &name, &header, &content, &size) == 1;
    const OwnedMemory<char> ownedName(name);
    const OwnedMemory<char> ownedHeader(header);
    const OwnedMemory<unsigned char> ownedContent(content);
    if (!found) {
        const unsigned long error = ERR_peek_last_error();
        demand(ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE,
               "the trusted roots are a damaged PEM text");
        return std::nullopt;
    }
    demand(std::string_view(name) == PEM_STRING_X509,
           "the trusted roots hold something else than certificates");
    return Certificate::parse(std::as_bytes(std::span(content, static_cast<std::size_t>(size))));
}

} // namespace

TrustRoots TrustRoots::fromPem(std::string_view pem) {
    const DroppedErrors errors;
    const auto text = reading(asBytes(pem));
    TrustRoots roots;
    while (auto certificate = nextCertificate(text.get())) {
        if (roots.fingerprints_.insert(hexadecimal(certificate->fingerprint())).second) {
            roots.certificates_.push_back(*std::move(certificate));
        }
    }
    demand(!roots.certificates_.empty(), "the trusted roots hold no certificate");
    return roots;
}

TrustRoots TrustRoots::apple() {
    TrustRoots roots;
    roots.fingerprints_.insert(appleFingerprints.begin(), appleFingerprints.end());
    return roots;
}

bool TrustRoots::contain(const Certificate& certificate) const {
    return fingerprints_.contains(hexadecimal(certificate.fingerprint()));
}

} // namespace InstallerCore::CodeSign
