#include "hosts/linux/codesign/SignerSignature.h"

#include "hosts/linux/codesign/OpenSsl.h"
#include "hosts/linux/codesign/SignatureError.h"

#include <openssl/evp.h>
#include <openssl/objects.h>

#include <algorithm>
#include <utility>

namespace InstallerCore::CodeSign {

namespace {

constexpr const char* damaged = "the signature's message is damaged";
constexpr const char* notOverContent = "the signature is not one over the code directory";

// One element of an encoding, its length definite or, as Apple's tools write the outer ones, indefinite.
struct Element {
    int tag = 0;
    int tagClass = 0;
    ByteView content; // of an indefinite length: up to its end mark
    ByteView whole;
};

// Takes the elements of an encoding off its front, one after the other.
class ElementReader {
public:
    explicit ElementReader(ByteView rest, unsigned depth = 0) : rest_(rest), depth_(depth) {}

    [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }

    Element next() {
        constexpr unsigned deepest = 32;
        constexpr int failed = 0x80;
        constexpr int indefinite = 0x01;
        demand(depth_ <= deepest, damaged);
        const unsigned char* const begin = octets(rest_);
        const unsigned char* position = begin;
        long length = 0;
        Element element;
        const int form = ASN1_get_object(&position, &length, &element.tag, &element.tagClass,
                                         static_cast<long>(rest_.size()));
        demand((form & failed) == 0, damaged);
        const ByteView behindHeader = rest_.subspan(static_cast<std::size_t>(position - begin));
        if ((form & indefinite) == 0) {
            element.content = behindHeader.first(static_cast<std::size_t>(length));
            element.whole = rest_.first(rest_.size() - behindHeader.size() + element.content.size());
        } else {
            readToEndMark(element, behindHeader);
        }
        rest_ = rest_.subspan(element.whole.size());
        return element;
    }

private:
    void readToEndMark(Element& element, ByteView behindHeader) const {
        ElementReader inner(behindHeader, depth_ + 1);
        Element child = inner.next();
        while (child.tag != 0 || child.tagClass != V_ASN1_UNIVERSAL) {
            child = inner.next();
        }
        const std::size_t left = inner.rest_.size();
        element.content = behindHeader.first(behindHeader.size() - left - child.whole.size());
        element.whole = rest_.first(rest_.size() - left);
    }

    ByteView rest_;
    unsigned depth_;
};

ByteView contentOfNext(ElementReader& reader) {
    return reader.next().content;
}

// ContentInfo { type, [0] SignedData { ..., SET OF SignerInfo { version, identifier, digest, [0] attributes
Element attributesElement(ByteView message) {
    ElementReader whole(message);
    ElementReader contentInfo(contentOfNext(whole));
    contentInfo.next();
    ElementReader explicitContent(contentOfNext(contentInfo));
    ElementReader signedData(contentOfNext(explicitContent));
    ByteView last;
    while (!signedData.isAtEnd()) {
        last = contentOfNext(signedData);
    }
    ElementReader signers(last);
    ElementReader signer(contentOfNext(signers));
    for (int field = 0; field < 3; ++field) {
        signer.next();
    }
    Element attributes = signer.next();
    demand(attributes.tagClass == V_ASN1_CONTEXT_SPECIFIC && attributes.tag == 0,
           "the signature lacks its signed attributes");
    return attributes;
}

Bytes encoded(const X509_ATTRIBUTE* attribute) {
    unsigned char* bytes = nullptr;
    const int size = i2d_X509_ATTRIBUTE(attribute, &bytes);
    demand(size > 0, damaged);
    const auto view = std::as_bytes(std::span(bytes, static_cast<std::size_t>(size)));
    Bytes result(view.begin(), view.end());
    OPENSSL_free(bytes);
    return result;
}

void demandReadAlike(ByteView attributes, const CMS_SignerInfo* signer) {
    int index = 0;
    for (ElementReader reader(attributes); !reader.isAtEnd(); ++index) {
        const auto own = parseWhole<X509_ATTRIBUTE_free>(reader.next().whole, d2i_X509_ATTRIBUTE);
        const X509_ATTRIBUTE* const known = CMS_signed_get_attr(signer, index);
        demand(own != nullptr && known != nullptr && encoded(own.get()) == encoded(known), damaged);
    }
    demand(CMS_signed_get_attr_count(signer) == index, damaged);
}

void verifyDigest(CMS_SignerInfo* signer, const EVP_MD* digest, ByteView content) {
    constexpr int onlyOne = -3;
    const auto* const stated = static_cast<const ASN1_STRING*>(CMS_signed_get0_data_by_OBJ(
        signer, OBJ_nid2obj(NID_pkcs9_messageDigest), onlyOne, V_ASN1_OCTET_STRING));
    Bytes actual(static_cast<std::size_t>(EVP_MD_get_size(digest)));
    const bool isHashed =
        EVP_Digest(content.data(), content.size(), reinterpret_cast<unsigned char*>(actual.data()), nullptr,
                   digest, nullptr) == 1;
    demand(stated != nullptr && isHashed && std::ranges::equal(CodeSign::content(stated), actual),
           notOverContent);
}

} // namespace

void verifySignerSignature(ByteView message, CMS_SignerInfo* signer, const Certificate& leaf,
                           ByteView content) {
    const Element attributes = attributesElement(message);
    demandReadAlike(attributes.content, signer);

    X509_ALGOR* algorithm = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &algorithm, nullptr);
    const ASN1_OBJECT* identifier = nullptr;
    X509_ALGOR_get0(&identifier, nullptr, nullptr, algorithm);
    const EVP_MD* const digest = EVP_get_digestbyobj(identifier);
    demand(digest != nullptr, notOverContent);
    verifyDigest(signer, digest, content);

    // RFC 5652, 5.4: the tag of a set counts, not the one that the message has in its place.
    Bytes signedBytes(attributes.whole.begin(), attributes.whole.end());
    signedBytes.front() = std::byte{V_ASN1_CONSTRUCTED | V_ASN1_SET};
    const ByteView signature = CodeSign::content(CMS_SignerInfo_get0_signature(signer));
    const Owned<EVP_MD_CTX, EVP_MD_CTX_free> context(allocated(EVP_MD_CTX_new()));
    EVP_PKEY* const key = X509_get0_pubkey(leaf.get());
    demand(key != nullptr && EVP_DigestVerifyInit(context.get(), nullptr, digest, nullptr, key) == 1 &&
               EVP_DigestVerify(context.get(), octets(signature), signature.size(), octets(signedBytes),
                                signedBytes.size()) == 1,
           notOverContent);
}

} // namespace InstallerCore::CodeSign
