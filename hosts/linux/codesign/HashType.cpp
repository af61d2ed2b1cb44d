#include "hosts/linux/codesign/HashType.h"

#include "hosts/linux/codesign/OpenSsl.h"

#include <openssl/evp.h>

#include <cstdlib>

namespace InstallerCore::CodeSign {

namespace {

const EVP_MD* fetch(const char* algorithm) {
    return allocated(EVP_MD_fetch(nullptr, algorithm, nullptr));
}

// Fetched once: a fetch takes longer than the hash of a page. Never freed, as OpenSSL may be gone by then.
const EVP_MD* digest(HashType type) {
    static const EVP_MD* const sha1 = fetch("SHA1");
    static const EVP_MD* const sha256 = fetch("SHA256");
    static const EVP_MD* const sha384 = fetch("SHA384");
    switch (type) {
    case HashType::sha1:
        return sha1;
    case HashType::sha256:
    case HashType::sha256Truncated:
        return sha256;
    case HashType::sha384:
        return sha384;
    }
    std::abort();
}

} // namespace

std::optional<HashType> hashType(std::uint8_t number) {
    if (number < static_cast<std::uint8_t>(HashType::sha1) ||
        number > static_cast<std::uint8_t>(HashType::sha384)) {
        return std::nullopt;
    }
    return static_cast<HashType>(number);
}

std::size_t hashSize(HashType type) {
    return type == HashType::sha256Truncated ? cdHashSize
                                             : static_cast<std::size_t>(EVP_MD_get_size(digest(type)));
}

const char* name(HashType type) {
    switch (type) {
    case HashType::sha1:
        return "SHA-1";
    case HashType::sha256:
        return "SHA-256";
    case HashType::sha256Truncated:
        return "truncated SHA-256";
    case HashType::sha384:
        return "SHA-384";
    }
    std::abort();
}

Bytes hash(HashType type, ByteView content) {
    Bytes result = fullHash(type, content);
    result.resize(hashSize(type));
    return result;
}

Bytes fullHash(HashType type, ByteView content) {
    const EVP_MD* const algorithm = digest(type);
    Bytes result(static_cast<std::size_t>(EVP_MD_get_size(algorithm)));
    if (EVP_Digest(content.data(), content.size(), reinterpret_cast<unsigned char*>(result.data()), nullptr,
                   algorithm, nullptr) != 1) {
        throw std::bad_alloc(); // OpenSSL's digests fail for nothing else
    }
    return result;
}

} // namespace InstallerCore::CodeSign
