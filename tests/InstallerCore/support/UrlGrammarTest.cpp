#include "InstallerCore/support/UrlGrammar.h"

#include <gtest/gtest.h>

#include <vector>

namespace InstallerCore {

namespace {

using Texts = std::vector<std::string_view>;
using Rule = bool (*)(std::string_view);

constexpr std::string_view unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
constexpr std::string_view subDelims = "!$&'()*+,;=";

// Of all the bytes, exactly these may stand behind the text.
void expectAlphabet(Rule rule, std::string_view before, const std::string& alphabet) {
    for (unsigned value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        const bool expected = alphabet.find(c) != std::string::npos;
        EXPECT_EQ(rule(std::string(before) + c), expected) << "byte " << value;
    }
}

void expectAll(Rule rule, bool accepted, const Texts& texts) {
    for (const std::string_view text : texts) {
        EXPECT_EQ(rule(text), accepted) << testing::PrintToString(text);
    }
}

TEST(UrlGrammarTest, EachRuleHasItsAlphabet) {
    const std::string letters = std::string(unreserved.substr(0, 52));
    const std::string digits = "0123456789";
    const std::string common = std::string(unreserved) + std::string(subDelims);
    expectAlphabet(UrlGrammar::isScheme, "", letters);
    expectAlphabet(UrlGrammar::isScheme, "a", letters + digits + "+-.");
    expectAlphabet(UrlGrammar::isUserInfo, "", common + ":");
    expectAlphabet(UrlGrammar::isHost, "", common);
    expectAlphabet(UrlGrammar::isPort, "", digits);
    expectAlphabet(UrlGrammar::isPath, "", common + ":@/");
    expectAlphabet(UrlGrammar::isQueryOrFragment, "", common + ":@/?");
}

TEST(UrlGrammarTest, OnlyASchemeMayNotBeEmpty) {
    EXPECT_FALSE(UrlGrammar::isScheme(""));
    for (const Rule rule : {UrlGrammar::isUserInfo, UrlGrammar::isHost, UrlGrammar::isPort,
                            UrlGrammar::isPath, UrlGrammar::isQueryOrFragment}) {
        EXPECT_TRUE(rule(""));
    }
}

TEST(UrlGrammarTest, PercentIsFollowedByTwoHexadecimalDigits) {
    for (const Rule rule :
         {UrlGrammar::isUserInfo, UrlGrammar::isHost, UrlGrammar::isPath, UrlGrammar::isQueryOrFragment}) {
        expectAll(rule, true, {"%00", "%fF", "a%41b", "%25%41"});
        expectAll(rule, false, {"%", "%4", "%%41", "%4g", "%g4", "a%", "%41%4", "%-1", "% 41"});
    }
    EXPECT_FALSE(UrlGrammar::isPath(std::string_view("%41").substr(0, 2)))
        << "a digit behind the text is none";
    expectAll(UrlGrammar::isScheme, false, {"a%41"});
    expectAll(UrlGrammar::isPort, false, {"%34"});
}

TEST(UrlGrammarTest, HostMayBeAnAddressInBrackets) {
    expectAll(UrlGrammar::isHost, true,
              {"[::]", "[::1]", "[1::]", "[1:2:3:4:5:6:7:8]", "[1:2:3:4:5:6:7::]", "[::2:3:4:5:6:7:8]",
               "[1::3:4:5:6:7:8]", "[FFFF:ffff:0:0:0:0:0:0001]", "[::1.2.3.4]", "[::ffff:1.2.3.4]",
               "[1:2:3:4:5:6:1.2.3.4]", "[1:2:3:4:5::1.2.3.4]", "[::2:3:4:5:6:255.249.100.0]", "[v1.a]",
               "[vF0.:]", "[V1.a:b!]"});
    expectAll(UrlGrammar::isHost, false,
              {"[",
               "]",
               "[]",
               "[:]",
               "[:::]",
               "[1]",
               "[::1",
               "::1]",
               "[::1]]",
               "[[::1]]",
               "[::1]a",
               "a[::1]",
               "[1:2:3:4:5:6:7]",
               "[1:2:3:4:5:6:7:8:9]",
               "[1:2:3:4:5:6:7:8::]",
               "[::1:2:3:4:5:6:7:8]",
               "[1:2:3:4::5:6:7:8]",
               "[1::2::3]",
               "[1:]",
               "[:1]",
               "[1:2:3:4:5:6:7:]",
               "[00001::]",
               "[g::]",
               "[::1%25eth0]",
               "[::%31]",
               "[::1.2.3]",
               "[::1.2.3.4.5]",
               "[::256.2.3.4]",
               "[::01.2.3.4]",
               "[::1.2.3.4:5]",
               "[1.2.3.4::]",
               "[1:2:3:4:5:6:7:1.2.3.4]",
               "[1:2:3:4:5:6::1.2.3.4]",
               "[1.2.3.4]",
               "[v.a]",
               "[v1.]",
               "[v1]",
               "[1.a]",
               "[vg.a]",
               "[v1.%41]",
               "[v1.a/]"});
}

TEST(UrlGrammarTest, DotSegmentsGo) {
    constexpr std::pair<std::string_view, std::string_view> cases[] = {
        {"", ""},
        {"/a/b/c/./../../g", "/a/g"},
        {"mid/content=5/../6", "mid/6"},
        {".", ""},
        {"..", ""},
        {"/.", "/"},
        {"/..", "/"},
        {"./a", "a"},
        {"../a", "a"},
        {"././../a", "a"},
        {"/../../a", "/a"},
        {"/a/.", "/a/"},
        {"/a/..", "/"},
        {"/a/b/..", "/a/"},
        {"/a//../b", "/a/b"},
        {"/a/../..//b", "//b"},
        {"a/..", "/"},
        {"/a/...", "/a/..."},
        {"/.a/..b/c./d..", "/.a/..b/c./d.."},
        {"/a/%2e%2e/b", "/a/%2e%2e/b"},
    };
    for (const auto& [path, expected] : cases) {
        EXPECT_EQ(UrlGrammar::removeDotSegments(path), expected) << path;
    }
}

} // namespace

} // namespace InstallerCore
