#include "rehearsal/signing/CmsSigner.h"

#include "hosts/linux/PropertyListWriter.h"
#include "rehearsal/signing/Der.h"
#include "rehearsal/signing/OpenSsl.h"
#include "rehearsal/signing/TimeStamper.h"

#include <algorithm>

namespace InstallerCore::Rehearsal {

namespace {

constexpr const char* what = "signature";

struct Free {
    void operator()(ASN1_TIME* time) const noexcept { ASN1_TIME_free(time); }

    void operator()(X509_ATTRIBUTE* attribute) const noexcept { X509_ATTRIBUTE_free(attribute); }
};

void addAttribute(CMS_SignerInfo* signer, const std::string& identifier, int type,
                  const std::vector<Bytes>& values) {
    const std::unique_ptr<X509_ATTRIBUTE, Free> attribute(X509_ATTRIBUTE_new());
    check(attribute != nullptr && X509_ATTRIBUTE_set1_object(attribute.get(), object(identifier).get()) == 1,
          what);
    for (const Bytes& value : values) {
        check(X509_ATTRIBUTE_set1_data(attribute.get(), type, value.data(), static_cast<int>(value.size())) ==
                  1,
              what);
    }
    check(CMS_signed_add1_attr(signer, attribute.get()) == 1, what);
}

// A sequence of the digest's identifier and the whole hash.
Bytes hashListValue(const DirectoryDigest& directory) {
    const Bytes identifier = der(i2d_ASN1_OBJECT, OBJ_nid2obj(EVP_MD_get_type(algorithm(directory.type))));
    return Der::value(Der::sequence, join({identifier, Der::value(Der::octetString, directory.digest)}));
}

Bytes hashPropertyList(std::vector<DirectoryDigest> directories) {
    std::sort(directories.begin(), directories.end(),
              [](const auto& a, const auto& b) { return a.type < b.type; });
    PropertyArray hashes;
    for (DirectoryDigest& directory : directories) {
        directory.digest.resize(cdHashSize);
        hashes.push_back({std::move(directory.digest)});
    }
    return toBytes(writePropertyList({PropertyDictionary{{"cdhashes", {std::move(hashes)}}}}));
}

void addHashAttributes(CMS_SignerInfo* signer, const std::vector<DirectoryDigest>& directories,
                       const CmsOptions& options) {
    if (options.hashList) {
        std::vector<Bytes> values;
        for (const DirectoryDigest& directory : options.hashListEntries.value_or(directories)) {
            values.push_back(hashListValue(directory));
        }
        addAttribute(signer, "1.2.840.113635.100.9.2", V_ASN1_SEQUENCE, values);
    }
    if (options.hashPropertyList) {
        addAttribute(signer, "1.2.840.113635.100.9.1", V_ASN1_OCTET_STRING,
                     {hashPropertyList(options.propertyListHashes.value_or(directories))});
    }
}

void addUsualAttributes(CMS_SignerInfo* signer, ByteView content, std::time_t time,
                        const CmsOptions& options) {
    if (options.contentType) {
        check(CMS_signed_add1_attr_by_NID(signer, NID_pkcs9_contentType, V_ASN1_OBJECT,
                                          OBJ_nid2obj(NID_pkcs7_data), -1) == 1,
              what);
    }
    if (options.signingTimeAttribute) {
        const std::unique_ptr<ASN1_TIME, Free> moment(ASN1_TIME_set(nullptr, time));
        check(moment != nullptr && CMS_signed_add1_attr_by_NID(signer, NID_pkcs9_signingTime, moment->type,
                                                               moment.get(), -1) == 1,
              what);
    }
    if (options.messageDigestAttribute) {
        const Bytes value = options.messageDigest.value_or(digest(options.digest, content));
        check(CMS_signed_add1_attr_by_NID(signer, NID_pkcs9_messageDigest, V_ASN1_OCTET_STRING, value.data(),
                                          static_cast<int>(value.size())) == 1,
              what);
    }
}

// What is signed: the attributes as a DER set, its members sorted.
Bytes encodedAttributes(const CMS_SignerInfo* signer) {
    std::vector<Bytes> attributes;
    attributes.reserve(static_cast<std::size_t>(CMS_signed_get_attr_count(signer)));
    for (int i = 0; i < CMS_signed_get_attr_count(signer); ++i) {
        attributes.push_back(der(i2d_X509_ATTRIBUTE, CMS_signed_get_attr(signer, i)));
    }
    std::sort(attributes.begin(), attributes.end(),
              [](const Bytes& a, const Bytes& b) { return asText(a) < asText(b); });
    Bytes all;
    for (const Bytes& attribute : attributes) {
        all.insert(all.end(), attribute.begin(), attribute.end());
    }
    return Der::value(Der::set, all);
}

// Apple's tools name both algorithms in one identifier here, OpenSSL only the key's.
void nameSignatureAlgorithm(CMS_SignerInfo* signer, SignatureHash hash) {
    X509_ALGOR* name = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, nullptr, &name);
    int identifier = NID_undef;
    check(OBJ_find_sigid_by_algs(&identifier, EVP_MD_get_type(algorithm(hash)), NID_rsaEncryption) == 1 &&
              X509_ALGOR_set0(name, OBJ_nid2obj(identifier), V_ASN1_NULL, nullptr) == 1,
          what);
}

std::vector<Role> embeddedRoles(const CmsOptions& options) {
    std::vector<Role> roles;
    if (options.embedAuthority) {
        roles.push_back(Role::authority);
    }
    if (options.embedRoot) {
        roles.push_back(Role::root);
    }
    roles.push_back(Role::leaf);
    return roles;
}

// DER sorts a set, so OpenSSL does; signatures have their certificates in the order of the roles. They lie in
// one piece of the message, which nothing covers.
void orderCertificates(Bytes& message, const SigningIdentity& identity, const std::vector<Role>& roles) {
    Bytes wanted;
    auto begin = message.end();
    for (const Role role : roles) {
        const Bytes certificate = der(i2d_X509, identity.certificate(role));
        begin = std::min(begin,
                         std::search(message.begin(), message.end(), certificate.begin(), certificate.end()));
        wanted.insert(wanted.end(), certificate.begin(), certificate.end());
    }
    check(message.end() - begin > static_cast<std::ptrdiff_t>(wanted.size()), what);
    std::copy(wanted.begin(), wanted.end(), begin);
}

} // namespace

DirectoryDigest digestOf(ByteView codeDirectory) {
    constexpr std::size_t typeOffset = 37;
    if (codeDirectory.size() <= typeOffset) {
        throw std::runtime_error("this is no code directory");
    }
    const auto type = static_cast<SignatureHash>(codeDirectory[typeOffset]);
    return {.type = type, .digest = digest(type, codeDirectory)};
}

Bytes signCms(const SigningIdentity& identity, std::span<const Bytes> codeDirectories,
              const CmsOptions& options) {
    const Bytes& content = codeDirectories.front();
    std::vector<DirectoryDigest> directories;
    std::transform(codeDirectories.begin(), codeDirectories.end(), std::back_inserter(directories), digestOf);
    const std::time_t time = options.signingTime.value_or(std::time(nullptr));

    constexpr unsigned flags = CMS_PARTIAL | CMS_BINARY | CMS_NOCERTS | CMS_NOSMIMECAP;
    const auto message =
        owned(CMS_sign(nullptr, nullptr, nullptr, nullptr, CMS_PARTIAL | CMS_BINARY | CMS_DETACHED), what);
    EVP_PKEY* const key = identity.key(Role::leaf);
    CMS_SignerInfo* const signer = CMS_add1_signer(message.get(), identity.certificate(Role::leaf), key,
                                                   algorithm(options.digest), flags);
    check(signer != nullptr, what);
    nameSignatureAlgorithm(signer, options.digest);
    const std::vector<Role> roles = embeddedRoles(options);
    for (const Role role : roles) {
        check(CMS_add1_cert(message.get(), identity.certificate(role)) == 1, what);
    }
    addUsualAttributes(signer, content, time, options);
    addHashAttributes(signer, directories, options);
    const Bytes signature = signatureOf(encodedAttributes(signer), key, algorithm(options.digest));
    check(ASN1_STRING_set(CMS_SignerInfo_get0_signature(signer), signature.data(),
                          static_cast<int>(signature.size())) == 1,
          what);
    if (options.timeStamp) {
        const Bytes token = makeTimeStamp(identity, options.timeStampedValue.value_or(signature),
                                          options.timeStampTime.value_or(time), options.timeStampDigest);
        check(CMS_unsigned_add1_attr_by_NID(signer, NID_id_smime_aa_timeStampToken, V_ASN1_SEQUENCE,
                                            token.data(), static_cast<int>(token.size())) == 1,
              what);
    }
    Bytes result = der(i2d_CMS_ContentInfo, message.get());
    orderCertificates(result, identity, roles);
    return result;
}

} // namespace InstallerCore::Rehearsal
