#include "hosts/linux/codesign/Algorithms.h"

#include <openssl/objects.h>
#include <openssl/x509.h>

#include <algorithm>
#include <array>

namespace InstallerCore::CodeSign {

namespace {

// OpenSSL's number; NID_undef for an unknown algorithm and for one with parameters.
int numberOf(const X509_ALGOR* algorithm) {
    const ASN1_OBJECT* object = nullptr;
    int parameterKind = V_ASN1_UNDEF;
    X509_ALGOR_get0(&object, &parameterKind, nullptr, algorithm);
    return parameterKind == V_ASN1_UNDEF || parameterKind == V_ASN1_NULL ? OBJ_obj2nid(object) : NID_undef;
}

} // namespace

bool isDecentDigest(int number) {
    constexpr std::array decent = {NID_sha1, NID_sha256, NID_sha384, NID_sha512};
    return std::ranges::find(decent, number) != decent.end();
}

bool isDecentDigest(const X509_ALGOR* digest) {
    return isDecentDigest(numberOf(digest));
}

bool isDecentSignature(const X509_ALGOR* signature, const X509_ALGOR* digest) {
    const int number = numberOf(signature);
    int named = NID_undef;
    int key = NID_undef;
    if (number == NID_rsaEncryption) {
        return true;
    }
    return OBJ_find_sigid_algs(number, &named, &key) == 1 &&
           (key == NID_rsaEncryption || key == NID_X9_62_id_ecPublicKey) && named == numberOf(digest);
}

} // namespace InstallerCore::CodeSign
