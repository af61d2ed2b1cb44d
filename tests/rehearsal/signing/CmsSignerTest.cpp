#include "rehearsal/signing/CmsSigner.h"

#include "hosts/linux/PropertyListsLibplist.h"
#include "tests/rehearsal/signing/SigningJudge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace InstallerCore {

namespace {

using namespace Rehearsal;
using namespace Testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* contentType = "1.2.840.113549.1.9.3";
constexpr const char* messageDigest = "1.2.840.113549.1.9.4";
constexpr const char* signingTime = "1.2.840.113549.1.9.5";
constexpr const char* propertyList = "1.2.840.113635.100.9.1";
constexpr const char* hashList = "1.2.840.113635.100.9.2";
constexpr const char* timeStamp = "1.2.840.113549.1.9.16.2.14";
constexpr std::time_t day = 86400;

// As much of a code directory as the message depends on.
Bytes directory(SignatureHash type) {
    Bytes bytes(100, std::byte{'x'});
    bytes[37] = static_cast<std::byte>(type);
    return bytes;
}

const Bytes sha1 = directory(SignatureHash::sha1);
const Bytes sha256 = directory(SignatureHash::sha256);
const Bytes sha384 = directory(SignatureHash::sha384);

Bytes sign(const CmsOptions& options = {}, const std::vector<Bytes>& directories = {sha256}) {
    return signCms(sharedIdentity(), directories, options);
}

std::string verdictOn(const Bytes& message, const Bytes& content = sha256) {
    return verdictOnMessage(message, content, sharedIdentity().rootPem(), std::time(nullptr));
}

// What an attribute of octets holds, without the DER header of content of less than 128 or of 256 bytes and
// more.
Bytes octets(const Bytes& value) {
    const std::size_t header = std::to_integer<unsigned>(value.at(1)) < 128 ? 2 : 4;
    return {value.begin() + static_cast<std::ptrdiff_t>(header), value.end()};
}

std::vector<std::string> hashesInPropertyList(const MessageParts& parts) {
    const PropertyValue list =
        PropertyListsLibplist().parse(octets(parts.signedAttributes.at(propertyList).at(0)));
    std::vector<std::string> hashes;
    for (const PropertyValue& hash : *member(*list.dictionary(), "cdhashes")->array()) {
        hashes.push_back(hexadecimal(*hash.data()));
    }
    return hashes;
}

std::string shortHash(const Bytes& content, SignatureHash type) {
    return hexadecimal(ByteView(digest(type, content)).first(20));
}

TEST(CmsSignerTest, OpenSslVerifiesTheMessageOverTheFirstDirectory) {
    EXPECT_EQ(verdictOn(sign()), "good");
    EXPECT_EQ(verdictOn(sign({}, {sha1, sha256}), sha1), "good");
    EXPECT_EQ(verdictOn(sign({.digest = SignatureHash::sha1})), "good");
    EXPECT_THAT(verdictOn(sign(), sha1), HasSubstr("content verify error"));
}

TEST(CmsSignerTest, AnotherRootDoesNotAccountForIt) {
    const auto other = SigningIdentity::make();
    EXPECT_THAT(verdictOnMessage(sign(), sha256, other.rootPem(), std::time(nullptr)),
                HasSubstr("certificate verify error"));
}

TEST(CmsSignerTest, TheCertificatesAreInTheUsualOrder) {
    const std::string leaf = "Developer ID Application: Kavio Test (SAMPLETEAM)";
    EXPECT_THAT(partsOf(sign()).certificates,
                ElementsAre("Kavio Test Developer ID Authority", "Kavio Test Root CA", leaf));
    EXPECT_THAT(partsOf(sign({.embedRoot = false})).certificates,
                ElementsAre("Kavio Test Developer ID Authority", leaf));
    EXPECT_THAT(partsOf(sign({.embedAuthority = false})).certificates,
                ElementsAre("Kavio Test Root CA", leaf));
}

TEST(CmsSignerTest, BothListsNameEveryDirectory) {
    const MessageParts parts = partsOf(sign({}, {sha384, sha1, sha256}));
    EXPECT_THAT(hashesInPropertyList(parts),
                ElementsAre(shortHash(sha1, SignatureHash::sha1), shortHash(sha256, SignatureHash::sha256),
                            shortHash(sha384, SignatureHash::sha384)));
    std::vector<std::string> values;
    for (const Bytes& value : parts.signedAttributes.at(hashList)) {
        values.push_back(hexadecimal(value));
    }
    EXPECT_THAT(values,
                ::testing::UnorderedElementsAre(
                    "301d06052b0e03021a0414" + hexadecimal(digest(SignatureHash::sha1, sha1)),
                    "302d06096086480165030402010420" + hexadecimal(digest(SignatureHash::sha256, sha256)),
                    "303d06096086480165030402020430" + hexadecimal(digest(SignatureHash::sha384, sha384))));
}

TEST(CmsSignerTest, EachAttributeCanBeLeftOut) {
    const std::pair<const char*, CmsOptions> cases[] = {
        {contentType, {.contentType = false}},
        {signingTime, {.signingTimeAttribute = false}},
        {messageDigest, {.messageDigestAttribute = false}},
        {hashList, {.hashList = false}},
        {propertyList, {.hashPropertyList = false}},
    };
    EXPECT_THAT(partsOf(sign()).signedAttributes, SizeIs(5));
    for (const auto& [identifier, options] : cases) {
        SCOPED_TRACE(identifier);
        const MessageParts parts = partsOf(sign(options));
        EXPECT_THAT(parts.signedAttributes, SizeIs(4));
        EXPECT_FALSE(parts.signedAttributes.contains(identifier));
    }
    EXPECT_THAT(partsOf(sign({.timeStamp = false})).unsignedAttributes, IsEmpty());
    EXPECT_EQ(verdictOn(sign({.hashList = false, .hashPropertyList = false})), "good");
}

TEST(CmsSignerTest, TheListsCanNameOtherDirectories) {
    const std::vector<DirectoryDigest> others = {digestOf(sha1)};
    const Bytes otherPropertyList = sign({.propertyListHashes = others});
    EXPECT_THAT(hashesInPropertyList(partsOf(otherPropertyList)),
                ElementsAre(shortHash(sha1, SignatureHash::sha1)));
    const Bytes otherHashList = sign({.hashListEntries = others});
    EXPECT_EQ(hexadecimal(partsOf(otherHashList).signedAttributes.at(hashList).at(0)),
              "301d06052b0e03021a0414" + hexadecimal(digest(SignatureHash::sha1, sha1)));
    EXPECT_EQ(verdictOn(otherPropertyList), "good");
    EXPECT_EQ(verdictOn(otherHashList), "good");
}

TEST(CmsSignerTest, AnotherMessageDigestIsWhatOpenSslRefuses) {
    EXPECT_THAT(verdictOn(sign({.messageDigest = Bytes(32)})), HasSubstr("content verify error"));
}

TEST(CmsSignerTest, TheSigningTimeIsTheOneAskedFor) {
    const MessageParts parts = partsOf(sign({.signingTime = 1767225600}));
    EXPECT_EQ(asText(parts.signedAttributes.at(signingTime).at(0)).substr(2), "260101000000Z");
}

class TimeStampTest : public ::testing::Test {
protected:
    [[nodiscard]] static std::string verdict(const MessageParts& parts, std::time_t time) {
        const Bytes& token = parts.unsignedAttributes.at(timeStamp).at(0);
        return verdictOnToken(token, parts.signature, sharedIdentity().rootPem(), time);
    }
};

TEST_F(TimeStampTest, OpenSslVerifiesTheTokenOverTheSignature) {
    const std::time_t now = std::time(nullptr);
    EXPECT_EQ(verdict(partsOf(sign()), now), "good");
    EXPECT_EQ(verdict(partsOf(sign({.timeStampDigest = SignatureHash::sha1})), now), "good");
    EXPECT_EQ(verdict(partsOf(sign({.timeStampDigest = SignatureHash::sha384})), now), "good");
}

TEST_F(TimeStampTest, ItIsOfTheTimeAskedForAlsoOneWithoutAValidCertificate) {
    const std::time_t now = std::time(nullptr);
    const std::time_t earlier = now - 900 * day;
    const MessageParts parts = partsOf(sign({.timeStampTime = earlier}));
    EXPECT_EQ(timeOf(parts.unsignedAttributes.at(timeStamp).at(0)), earlier);
    EXPECT_EQ(verdict(parts, now), "good");
    EXPECT_THAT(verdict(parts, earlier), HasSubstr("certificate verify error"));
}

TEST_F(TimeStampTest, ItIsOfTheSigningTimeUnlessAnotherIsAskedFor) {
    const std::time_t earlier = std::time(nullptr) - 3600;
    EXPECT_EQ(timeOf(partsOf(sign({.signingTime = earlier})).unsignedAttributes.at(timeStamp).at(0)),
              earlier);
}

TEST_F(TimeStampTest, OneOverAnotherValueIsNoneOverTheSignature) {
    const std::time_t now = std::time(nullptr);
    const Bytes other = toBytes("another value");
    const MessageParts parts = partsOf(sign({.timeStampedValue = other}));
    EXPECT_THAT(verdict(parts, now), HasSubstr("message imprint mismatch"));
    EXPECT_EQ(
        verdictOnToken(parts.unsignedAttributes.at(timeStamp).at(0), other, sharedIdentity().rootPem(), now),
        "good");
}

TEST_F(TimeStampTest, AnUnsuitableCertificateCanMakeOne) {
    const auto unsuitable = sharedIdentity().reissued({.timeStampLeaf = {.extendedKeyUsage = false}});
    const MessageParts parts = partsOf(signCms(unsuitable, std::span(&sha256, 1)));
    EXPECT_NE(verdict(parts, std::time(nullptr)), "good");
}

} // namespace

} // namespace InstallerCore
