#include "hosts/linux/codesign/HashAttributes.h"

#include "InstallerCore/support/PlatformError.h"
#include "hosts/linux/PropertyListsLibplist.h"
#include "hosts/linux/codesign/Asn1.h"
#include "hosts/linux/codesign/SignatureError.h"

#include <openssl/objects.h>

#include <algorithm>
#include <set>
#include <utility>

namespace InstallerCore::CodeSign {

namespace {

using NamedHash = std::pair<int, Bytes>; // OpenSSL's number of the digest, the hash

// Absent when there is none; an attribute that stands there twice throws.
X509_ATTRIBUTE* onlyAttribute(const CMS_SignerInfo* signer, const char* identifier) {
    const ObjectIdentifier object = objectIdentifier(identifier);
    const int position = CMS_signed_get_attr_by_OBJ(signer, object.get(), -1);
    if (position < 0) {
        return nullptr;
    }
    demand(CMS_signed_get_attr_by_OBJ(signer, object.get(), position) < 0,
           "the signer lists the code directories' hashes twice");
    return CMS_signed_get_attr(signer, position);
}

int digestNumber(HashType type) {
    switch (type) {
    case HashType::sha1:
        return NID_sha1;
    case HashType::sha256:
    case HashType::sha256Truncated:
        return NID_sha256;
    case HashType::sha384:
        return NID_sha384;
    }
    return NID_undef;
}

NamedHash readNamedHash(const ASN1_TYPE* value) {
    constexpr const char* rule = "the signer's list of full hashes is damaged";
    const auto encoded = contentOf(value, V_ASN1_SEQUENCE);
    demand(encoded.has_value(), rule);
    const Asn1Sequence elements = parseSequence(*encoded);
    demand(elements != nullptr && sk_ASN1_TYPE_num(elements.get()) == 2, rule);
    const ASN1_TYPE* const digest = sk_ASN1_TYPE_value(elements.get(), 0);
    const auto hash = contentOf(sk_ASN1_TYPE_value(elements.get(), 1), V_ASN1_OCTET_STRING);
    demand(ASN1_TYPE_get(digest) == V_ASN1_OBJECT && hash.has_value(), rule);
    return {OBJ_obj2nid(digest->value.object), Bytes(hash->begin(), hash->end())};
}

void verifyFullHashes(X509_ATTRIBUTE* attribute, std::span<const SignedDirectory> directories) {
    constexpr const char* rule = "the signer's list of full hashes does not fit the code directories";
    demand(std::cmp_equal(X509_ATTRIBUTE_count(attribute), directories.size()), rule);
    std::multiset<NamedHash> listed;
    std::multiset<NamedHash> expected;
    for (std::size_t i = 0; i < directories.size(); ++i) {
        listed.insert(readNamedHash(X509_ATTRIBUTE_get0_type(attribute, static_cast<int>(i))));
        expected.emplace(digestNumber(directories[i].type),
                         fullHash(directories[i].type, directories[i].blob));
    }
    demand(listed == expected, rule);
}

PropertyArray readCdHashes(ByteView document) {
    constexpr const char* rule = "the signer's property list of hashes is damaged";
    try {
        const PropertyValue list = PropertyListsLibplist().parse(document);
        const PropertyDictionary* const dictionary = list.dictionary();
        const PropertyValue* const hashes = dictionary == nullptr ? nullptr : member(*dictionary, "cdhashes");
        demand(hashes != nullptr && hashes->array() != nullptr, rule);
        return *hashes->array();
    } catch (const PlatformError&) {
        throw SignatureError(rule);
    }
}

void verifyCdHashes(X509_ATTRIBUTE* attribute, std::span<const SignedDirectory> directories) {
    const auto document = X509_ATTRIBUTE_count(attribute) == 1
                              ? contentOf(X509_ATTRIBUTE_get0_type(attribute, 0), V_ASN1_OCTET_STRING)
                              : std::nullopt;
    demand(document.has_value(), "the signer's property list of hashes is damaged");
    std::vector<SignedDirectory> ascending(directories.begin(), directories.end());
    std::ranges::sort(ascending, {}, &SignedDirectory::type);
    const auto hasHash = [](const PropertyValue& value, const SignedDirectory& directory) {
        Bytes expected = hash(directory.type, directory.blob);
        expected.resize(cdHashSize);
        return value.data() != nullptr && *value.data() == expected;
    };
    demand(std::ranges::equal(readCdHashes(*document), ascending, hasHash),
           "the signer's property list of hashes does not fit the code directories");
}

} // namespace

void verifyHashAttributes(const CMS_SignerInfo* signer, std::span<const SignedDirectory> directories) {
    if (X509_ATTRIBUTE* const full = onlyAttribute(signer, "1.2.840.113635.100.9.2"); full != nullptr) {
        verifyFullHashes(full, directories);
    }
    X509_ATTRIBUTE* const cut = onlyAttribute(signer, "1.2.840.113635.100.9.1");
    demand(cut != nullptr || directories.size() == 1,
           "the signer does not list the code directories' hashes");
    if (cut != nullptr) {
        verifyCdHashes(cut, directories);
    }
}

} // namespace InstallerCore::CodeSign
