#include "rehearsal/signing/SignatureHash.h"

#include "rehearsal/signing/OpenSsl.h"

namespace InstallerCore::Rehearsal {

std::size_t storedSize(SignatureHash type) {
    switch (type) {
    case SignatureHash::sha1:
    case SignatureHash::sha256Truncated:
        return 20;
    case SignatureHash::sha256:
        return 32;
    case SignatureHash::sha384:
        return 48;
    }
    throw std::runtime_error("there is no such digest");
}

const EVP_MD* algorithm(SignatureHash type) {
    switch (type) {
    case SignatureHash::sha1:
        return EVP_sha1();
    case SignatureHash::sha256:
    case SignatureHash::sha256Truncated:
        return EVP_sha256();
    case SignatureHash::sha384:
        return EVP_sha384();
    }
    throw std::runtime_error("there is no such digest");
}

Bytes digest(SignatureHash type, ByteView content) {
    const EVP_MD* const function = algorithm(type);
    Bytes result(static_cast<std::size_t>(EVP_MD_get_size(function)));
    check(EVP_Digest(content.data(), content.size(), reinterpret_cast<unsigned char*>(result.data()), nullptr,
                     function, nullptr) == 1,
          "digest");
    return result;
}

} // namespace InstallerCore::Rehearsal
