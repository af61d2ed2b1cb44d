#include "hosts/linux/codesign/CodeSignature.h"

#include "tests/hosts/linux/codesign/MachOBytes.h"
#include "tests/hosts/linux/codesign/RefusalOf.h"
#include "tests/hosts/linux/codesign/SignatureBytes.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace InstallerCore::CodeSign {

namespace {

using Testing::blobOf;
using Testing::directoryOf;
using Testing::refusalOf;
using Testing::superBlobOf;

constexpr std::uint32_t alternate = Slot::alternateDirectories;

const Bytes code = toBytes("code");

Bytes directory(HashType type, std::uint32_t flags = CodeDirectory::adHoc) {
    return directoryOf(code, {.flags = flags, .type = type});
}

std::vector<HashType> typesOf(const CodeSignature& signature) {
    std::vector<HashType> types;
    for (const CodeDirectory& entry : signature.directories()) {
        types.push_back(entry.type());
    }
    return types;
}

std::string refusal(const std::vector<std::pair<std::uint32_t, Bytes>>& blobs) {
    return refusalOf([&blobs] { return CodeSignature(superBlobOf(blobs)).hashTypes(); });
}

TEST(CodeSignatureTest, theBestDirectoryHasTheStrongestHashWhereverItIs) {
    const struct {
        std::vector<HashType> types;
        HashType best;
    } cases[] = {
        {{HashType::sha1}, HashType::sha1},
        {{HashType::sha1, HashType::sha256Truncated}, HashType::sha256Truncated},
        {{HashType::sha256, HashType::sha256Truncated}, HashType::sha256},
        {{HashType::sha1, HashType::sha256, HashType::sha384}, HashType::sha384},
        {{HashType::sha384, HashType::sha256, HashType::sha256Truncated, HashType::sha1}, HashType::sha384},
    };

    for (const auto& [types, best] : cases) {
        std::vector<std::pair<std::uint32_t, Bytes>> blobs;
        for (const HashType type : types) {
            blobs.emplace_back(blobs.empty() ? Slot::codeDirectory
                                             : alternate + static_cast<std::uint32_t>(blobs.size()) - 1,
                               directory(type));
        }
        const CodeSignature signature(superBlobOf(blobs));
        EXPECT_EQ(typesOf(signature), types);
        EXPECT_EQ(signature.best().type(), best);
        EXPECT_EQ(signature.hashTypes(), std::set<HashType>(types.begin(), types.end()));
    }
}

TEST(CodeSignatureTest, keepsItsOwnBytes) {
    Bytes bytes = superBlobOf({{Slot::codeDirectory, directory(HashType::sha256)}});
    const CodeSignature signature(bytes);
    bytes.assign(bytes.size(), std::byte{0xFF});
    EXPECT_EQ(signature.best().identifier(), "test.code");
    EXPECT_EQ(refusalOf([&] { return CodeDirectory::parse(signature.best().blob()); }), "");
}

TEST(CodeSignatureTest, alternateDirectoriesEndAtTheFirstGap) {
    const CodeSignature signature(superBlobOf({{Slot::codeDirectory, directory(HashType::sha1)},
                                               {alternate, directory(HashType::sha256)},
                                               {alternate + 2, directory(HashType::sha384)}}));
    EXPECT_EQ(typesOf(signature), (std::vector{HashType::sha1, HashType::sha256}));
}

TEST(CodeSignatureTest, theLastAlternateDirectoryIsTheFifth) {
    // Four hashes fill three of the five places; a fourth alternate can only repeat one of them.
    EXPECT_EQ(refusal({{Slot::codeDirectory, directory(HashType::sha1)},
                       {alternate, directory(HashType::sha256)},
                       {alternate + 1, directory(HashType::sha256Truncated)},
                       {alternate + 2, directory(HashType::sha384)},
                       {alternate + 3, directory(HashType::sha1)}}),
              "the signature has two directories with one hash");
}

TEST(CodeSignatureTest, withoutADirectoryNothingIsSigned) {
    EXPECT_EQ(refusal({}), "is not signed");
    EXPECT_EQ(refusal({{alternate, directory(HashType::sha256)}}), "is not signed");
}

TEST(CodeSignatureTest, aHashHasOneDirectory) {
    EXPECT_EQ(refusal({{Slot::codeDirectory, directory(HashType::sha256)},
                       {alternate, directory(HashType::sha256)}}),
              "the signature has two directories with one hash");
}

TEST(CodeSignatureTest, eachDirectoryIsChecked) {
    EXPECT_EQ(refusal({{Slot::codeDirectory, blobOf(codeDirectoryMagic, {})}}),
              "the code directory is damaged");
    EXPECT_EQ(refusal({{Slot::codeDirectory, directory(HashType::sha1)},
                       {alternate, blobOf(cmsMagic, asBytes("no directory"))}}),
              "the code directory is damaged");
}

TEST(CodeSignatureTest, givesAnyBlobByItsSlot) {
    const Bytes requirements = blobOf(0xfade0c01, asBytes("requirements"));
    const CodeSignature signature(superBlobOf(
        {{Slot::codeDirectory, directory(HashType::sha256)}, {Slot::requirements, requirements}}));
    ASSERT_TRUE(signature.blob(Slot::requirements));
    EXPECT_EQ(asText(*signature.blob(Slot::requirements)), asText(requirements));
    EXPECT_FALSE(signature.blob(Slot::entitlements));
}

TEST(CodeSignatureTest, nobodySignedAnAdHocSignature) {
    const CodeSignature signature(superBlobOf({{Slot::codeDirectory, directory(HashType::sha256)},
                                               {Slot::cms, blobOf(cmsMagic, asBytes("anything"))}}));
    EXPECT_FALSE(signature.signer(TrustRoots::apple(), 0));
}

TEST(CodeSignatureTest, anyOtherSignatureNamesItsSigner) {
    const auto refusalWith = [](const std::vector<std::pair<std::uint32_t, Bytes>>& more) {
        std::vector<std::pair<std::uint32_t, Bytes>> blobs = {
            {Slot::codeDirectory, directory(HashType::sha256, 0)}};
        blobs.insert(blobs.end(), more.begin(), more.end());
        const CodeSignature signature(superBlobOf(blobs));
        return refusalOf([&] { return signature.signer(TrustRoots::apple(), 0); });
    };
    EXPECT_EQ(refusalWith({}), "the signature names no signer");
    EXPECT_EQ(refusalWith({{Slot::cms, blobOf(codeDirectoryMagic, asBytes("x"))}}),
              "the signature is damaged");
    EXPECT_NE(refusalWith({{Slot::cms, blobOf(cmsMagic, {})}}), "");
    EXPECT_NE(refusalWith({{Slot::cms, blobOf(cmsMagic, asBytes("no message"))}}), "");
}

TEST(CodeSignatureTest, theStrongestDirectorySaysWhetherItIsAdHoc) {
    const CodeSignature mixed(superBlobOf(
        {{Slot::codeDirectory, directory(HashType::sha1)}, {alternate, directory(HashType::sha256, 0)}}));
    EXPECT_EQ(refusalOf([&] { return mixed.signer(TrustRoots::apple(), 0); }),
              "the signature names no signer");
}

class DetachedSignatureTest : public testing::Test {
protected:
    [[nodiscard]] CodeSignature::Lookup lookup() {
        return [this](const std::string& name) {
            asked.push_back(name);
            const auto found = contents.find(name);
            return found == contents.end() ? std::nullopt : std::optional(found->second);
        };
    }

    std::map<std::string, Bytes> contents{{"CodeDirectory", directory(HashType::sha1)}};
    std::vector<std::string> asked;
};

TEST_F(DetachedSignatureTest, isFoundByTheNamesOfItsParts) {
    contents["CodeRequirements-1"] = directory(HashType::sha256);
    contents["CodeRequirements"] = toBytes("2");
    contents["CodeTopDirectory"] = toBytes("4");
    contents["CodeEntitlements"] = toBytes("5");
    contents["CodeRepSpecific"] = toBytes("6");
    contents["CodeSignature"] = toBytes("cms");
    const CodeSignature signature(lookup());
    EXPECT_EQ(typesOf(signature), (std::vector{HashType::sha1, HashType::sha256}));
    const std::pair<std::uint32_t, std::string> slots[] = {{Slot::requirements, "2"},
                                                           {Slot::topDirectory, "4"},
                                                           {Slot::entitlements, "5"},
                                                           {Slot::representation, "6"},
                                                           {Slot::cms, "cms"}};
    for (const auto& [slot, content] : slots) {
        EXPECT_EQ(asText(signature.blob(slot).value()), content);
    }
    EXPECT_EQ(asked.size(), 7U);
}

TEST_F(DetachedSignatureTest, hasNoHeaderAroundItsMessage) {
    contents["CodeDirectory"] = directory(HashType::sha256, 0);
    const auto refusalWith = [this](const Bytes& message) {
        contents["CodeSignature"] = message;
        const CodeSignature signature(lookup());
        return refusalOf([&] { return signature.signer(TrustRoots::apple(), 0); });
    };
    const std::string inMessage = refusalWith(toBytes("\x30\x01"));
    EXPECT_NE(inMessage, "");
    EXPECT_EQ(refusalWith(blobOf(cmsMagic, asBytes("\x30\x01"))), inMessage);
    EXPECT_EQ(refusalWith({}), "the signature is damaged");
    EXPECT_EQ(refusalWith(toBytes("no message")), "the signature is damaged");
}

TEST_F(DetachedSignatureTest, needsADirectory) {
    contents.clear();
    EXPECT_EQ(refusalOf([this] { return CodeSignature(lookup()).hashTypes(); }), "is not signed");
    contents["CodeDirectory"] = {};
    EXPECT_EQ(refusalOf([this] { return CodeSignature(lookup()).hashTypes(); }), "the signature is damaged");
}

} // namespace

} // namespace InstallerCore::CodeSign
