#include "hosts/linux/codesign/CodeResources.h"

#include "tests/hosts/linux/codesign/RefusalOf.h"

#include <gtest/gtest.h>

#include <string>

namespace InstallerCore::CodeSign {

namespace {

using Testing::refusalOf;

constexpr const char* sha1 = "<data>qqqqqqqqqqqqqqqqqqqqqqqqqqo=</data>"; // 20 bytes
constexpr const char* sha256 = "<data>u7u7u7u7u7u7u7u7u7u7u7u7u7u7u7u7u7u7u7u7u7s=</data>";
constexpr const char* sha384 =
    "<data>zMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzMzM</data>";
constexpr const char* rules = "<key>rules2</key><dict><key>^.*</key><true/></dict>";

std::string list(const std::string& content) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>" + content +
           "</dict></plist>";
}

CodeResources read(const std::string& propertyList) {
    return readCodeResources(asBytes(propertyList));
}

// A list with one seal, at the path "a".
std::string sealing(const std::string& seal) {
    return list("<key>files2</key><dict><key>a</key>" + seal + "</dict>" + rules);
}

Seal readSeal(const std::string& seal) {
    return read(sealing(seal)).seals.at("a");
}

std::string refusal(const std::string& propertyList) {
    return refusalOf([&propertyList] { return read(propertyList); });
}

TEST(CodeResourcesTest, aFileHasAHashOfEachKind) {
    const Seal seal = readSeal(std::string("<dict><key>hash</key>") + sha1 + "<key>hash2</key>" + sha256 +
                               "<key>hash3</key>" + sha1 + "<key>hash4</key>" + sha384 + "</dict>");
    EXPECT_FALSE(seal.optional);
    EXPECT_EQ(std::get<Seal::File>(seal.content).hashes,
              (std::map<HashType, Bytes>{{HashType::sha1, Bytes(20, std::byte{0xAA})},
                                         {HashType::sha256, Bytes(32, std::byte{0xBB})},
                                         {HashType::sha256Truncated, Bytes(20, std::byte{0xAA})},
                                         {HashType::sha384, Bytes(48, std::byte{0xCC})}}));
}

TEST(CodeResourcesTest, aFileMayBeNothingButItsOldestHash) {
    const Seal seal = readSeal(sha1);
    EXPECT_EQ(std::get<Seal::File>(seal.content).hashes,
              (std::map<HashType, Bytes>{{HashType::sha1, Bytes(20, std::byte{0xAA})}}));
}

TEST(CodeResourcesTest, aLinkHasItsText) {
    const Seal seal = readSeal("<dict><key>symlink</key><string>../b</string></dict>");
    EXPECT_EQ(std::get<Seal::Link>(seal.content).target, "../b");
}

TEST(CodeResourcesTest, nestedCodeHasItsRequirement) {
    const Seal seal = readSeal(std::string("<dict><key>cdhash</key>") + sha1 +
                               "<key>requirement</key><string>identifier a</string></dict>");
    EXPECT_EQ(std::get<Seal::NestedCode>(seal.content).requirement, "identifier a");
}

TEST(CodeResourcesTest, anySealCanBeOptional) {
    for (const std::string& content :
         {std::string("<key>hash2</key>") + sha256, std::string("<key>symlink</key><string>b</string>"),
          std::string("<key>requirement</key><string>never</string>")}) {
        EXPECT_TRUE(readSeal("<dict>" + content + "<key>optional</key><true/></dict>").optional);
        EXPECT_FALSE(readSeal("<dict>" + content + "<key>optional</key><false/></dict>").optional);
    }
}

TEST(CodeResourcesTest, aSealThatIsNoneIsRefusedWithItsPath) {
    const std::string good = std::string("<key>hash2</key>") + sha256;
    const std::string seals[] = {
        "<string>b</string>",
        "<true/>",
        "<data>qqo=</data>",
        sha256, // without a kind it is the oldest
        "<dict/>",
        std::string("<dict><key>hash5</key>") + sha1 + "</dict>",
        std::string("<dict><key>hash</key>") + sha256 + "</dict>",
        std::string("<dict><key>hash2</key>") + sha1 + "</dict>",
        std::string("<dict><key>hash4</key>") + sha256 + "</dict>",
        "<dict><key>hash2</key><string>u7u7</string></dict>",
        "<dict>" + good + "<key>hash</key><data></data></dict>",
        "<dict>" + good + "<key>optional</key><string>true</string></dict>",
        "<dict>" + good + "<key>optional</key><integer>1</integer></dict>",
        "<dict><key>symlink</key><data>qqo=</data></dict>",
        "<dict><key>symlink</key><string>b</string><key>requirement</key><string>always</string></dict>",
        "<dict><key>symlink</key><string>b</string>" + good + "</dict>",
        "<dict><key>requirement</key><string>always</string>" + good + "</dict>",
        "<dict><key>requirement</key><true/></dict>",
    };
    for (const std::string& seal : seals) {
        EXPECT_EQ(refusal(sealing(seal)), "\"a\": has a seal that cannot be understood") << seal;
    }
}

TEST(CodeResourcesTest, sealsAndRulesOfVersionTwoAreRequired) {
    constexpr const char* missing = "has no seals and rules of version 2";
    const std::string files = "<key>files2</key><dict/>";
    EXPECT_EQ(refusal(list(files + rules)), "");
    const std::string lists[] = {
        list(files),
        list(rules),
        list(std::string("<key>files</key><dict/><key>rules</key><dict><key>^.*</key><true/></dict>")),
        list(std::string("<key>files2</key><array/>") + rules),
        list(files + "<key>rules2</key><string>^.*</string>"),
        "<plist version=\"1.0\"><array/></plist>",
    };
    for (const std::string& propertyList : lists) {
        EXPECT_EQ(refusal(propertyList), missing) << propertyList;
    }
}

TEST(CodeResourcesTest, theSealsOfVersionOneDoNotCount) {
    const CodeResources resources = read(list(
        std::string("<key>files</key><dict><key>b</key><true/></dict><key>files2</key><dict/>") + rules));
    EXPECT_TRUE(resources.seals.empty());
}

TEST(CodeResourcesTest, rulesAreThoseOfVersionTwo) {
    const CodeResources resources =
        read(list("<key>files2</key><dict/><key>rules2</key><dict><key>^.*</key><true/><key>^PkgInfo$</key>"
                  "<dict><key>omit</key><true/><key>weight</key><real>20</real></dict></dict>"));
    EXPECT_TRUE(resources.rules.verdict("a").isSealed);
    EXPECT_FALSE(resources.rules.verdict("PkgInfo").isSealed);
    EXPECT_EQ(refusal(list("<key>files2</key><dict/><key>rules2</key><dict/>")),
              "has no rule that seals everything");
}

TEST(CodeResourcesTest, whatIsNoPropertyListIsRefused) {
    for (const std::string& text : {std::string(), std::string("text"), std::string("<plist><dict>")}) {
        EXPECT_EQ(refusal(text), "is no property list, or too large a one");
    }
}

} // namespace

} // namespace InstallerCore::CodeSign
