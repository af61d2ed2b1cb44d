#pragma once

#include "InstallerCore/support/Bytes.h"

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include <memory>
#include <new>

namespace InstallerCore::CodeSign {

// An OpenSSL object and the function that frees it.
template <auto Free>
struct Freeing {
    template <typename Object>
    void operator()(Object* object) const noexcept {
        Free(object);
    }
};

template <typename Object, auto Free>
using Owned = std::unique_ptr<Object, Freeing<Free>>;

inline void freeEach(STACK_OF(X509) * certificates) {
    sk_X509_pop_free(certificates, X509_free);
}

// The stack with its certificates.
using OwnedCertificates = Owned<STACK_OF(X509), freeEach>;

// The object, made by a function that fails only for want of memory.
template <typename Object>
Object* allocated(Object* object) {
    if (object == nullptr) {
        throw std::bad_alloc();
    }
    return object;
}

// While it lives, what OpenSSL notes in the thread's queue of errors is dropped in the end; what was there
// before stays.
class DroppedErrors {
public:
    DroppedErrors() noexcept { ERR_set_mark(); }

    DroppedErrors(const DroppedErrors&) = delete;
    DroppedErrors& operator=(const DroppedErrors&) = delete;

    ~DroppedErrors() { ERR_pop_to_mark(); }
};

// The bytes as OpenSSL takes them.
[[nodiscard]] inline const unsigned char* octets(ByteView bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

// The content of the string; lives as long as it does.
[[nodiscard]] inline ByteView content(const ASN1_STRING* string) {
    return std::as_bytes(
        std::span(ASN1_STRING_get0_data(string), static_cast<std::size_t>(ASN1_STRING_length(string))));
}

// Reads one object by a d2i function. Null when the bytes are not exactly one.
template <auto Free, typename Parse>
auto parseWhole(ByteView encoded, Parse parse) {
    const unsigned char* position = octets(encoded);
    auto* const raw = parse(nullptr, &position, static_cast<long>(encoded.size()));
    Owned<std::remove_pointer_t<decltype(raw)>, Free> object(raw);
    if (position != octets(encoded) + encoded.size()) {
        object.reset();
    }
    return object;
}

// Reading from the bytes, which must outlive it.
[[nodiscard]] inline Owned<BIO, BIO_free_all> reading(ByteView bytes) {
    return Owned<BIO, BIO_free_all>(allocated(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size()))));
}

} // namespace InstallerCore::CodeSign
