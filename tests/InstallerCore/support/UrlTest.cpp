#include "InstallerCore/support/Url.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using Part = std::optional<std::string>;
constexpr std::nullopt_t absent = std::nullopt;

struct Parts {
    std::string text;
    Part scheme;
    Part userInfo;
    Part host;
    Part port;
    std::string path;
    Part query;
    Part fragment;
};

TEST(UrlTest, PartsAreKeptAsWritten) {
    const Parts cases[] = {
        {"", absent, absent, absent, absent, "", absent, absent},
        {"https://u:p@h.test:8443/a/b?q=1#f", "https", "u:p", "h.test", "8443", "/a/b", "q=1", "f"},
        {"HTTPS://H.TEST/%7Ea", "HTTPS", absent, "H.TEST", absent, "/%7Ea", absent, absent},
        {"https://h", "https", absent, "h", absent, "", absent, absent},
        {"https://@h:/?#", "https", "", "h", "", "/", "", ""},
        {"https://:@h", "https", ":", "h", absent, "", absent, absent},
        {"https://", "https", absent, "", absent, "", absent, absent},
        {"https:", "https", absent, absent, absent, "", absent, absent},
        {"https:///a", "https", absent, "", absent, "/a", absent, absent},
        {"https://:443", "https", absent, "", "443", "", absent, absent},
        {"https:/a//b", "https", absent, absent, absent, "/a//b", absent, absent},
        {"https:a:b@c", "https", absent, absent, absent, "a:b@c", absent, absent},
        {"a+b-c.1:x", "a+b-c.1", absent, absent, absent, "x", absent, absent},
        {"//h:0443", absent, absent, "h", "0443", "", absent, absent},
        {"//h:99999999999999999999", absent, absent, "h", "99999999999999999999", "", absent, absent},
        {"//[::1]:443/", absent, absent, "[::1]", "443", "/", absent, absent},
        {"//u:@[v1.a:b]", absent, "u:", "[v1.a:b]", absent, "", absent, absent},
        {"//256.1.1.1", absent, absent, "256.1.1.1", absent, "", absent, absent},
        {"//a%2Eb.", absent, absent, "a%2Eb.", absent, "", absent, absent},
        {"/a:b", absent, absent, absent, absent, "/a:b", absent, absent},
        {"./a:b", absent, absent, absent, absent, "./a:b", absent, absent},
        {"a/b:c", absent, absent, absent, absent, "a/b:c", absent, absent},
        {"?a:b/c?d", absent, absent, absent, absent, "", "a:b/c?d", absent},
        {"#a:b/c?d", absent, absent, absent, absent, "", absent, "a:b/c?d"},
        {"a?", absent, absent, absent, absent, "a", "", absent},
        {"a#?", absent, absent, absent, absent, "a", absent, "?"},
        {"//h?u@v:1", absent, absent, "h", absent, "", "u@v:1", absent},
        {"//h#u@v:1", absent, absent, "h", absent, "", absent, "u@v:1"},
        {"//h//a", absent, absent, "h", absent, "//a", absent, absent},
    };
    for (const Parts& expected : cases) {
        SCOPED_TRACE(expected.text);
        const auto url = Url::parse(expected.text);
        ASSERT_TRUE(url);
        EXPECT_EQ(url->text(), expected.text);
        EXPECT_EQ(url->scheme(), expected.scheme);
        EXPECT_EQ(url->userInfo(), expected.userInfo);
        EXPECT_EQ(url->host(), expected.host);
        EXPECT_EQ(url->port(), expected.port);
        EXPECT_EQ(url->path(), expected.path);
        EXPECT_EQ(url->query(), expected.query);
        EXPECT_EQ(url->fragment(), expected.fragment);
    }
}

TEST(UrlTest, NothingIsRepaired) {
    const std::string_view texts[] = {
        " https://h/",
        "https://h/ ",
        "https://h/\n",
        "\thttps://h/",
        "https://h/a b",
        "https://h\t/",
        "https:// h/",
        "https://h\\a",
        "https:\\\\h",
        "https://h/<a>",
        "https://h/\"a\"",
        "https://h/{a}",
        "https://h/a|b",
        "https://h/^",
        "https://h/`",
        "https://h/[a]",
        "https://h/?[a]",
        "https://h/#[a]",
        "https://h/%",
        "https://h/%4",
        "https://h/%zz",
        "https://h/#a#b",
        "https://h/##",
        ":",
        ":a",
        "://h",
        "1a:b",
        "-a:b",
        "a_b:c",
        "a%41:b",
        "https://a@b@c",
        "https://a:b:c",
        "https://h:80:80",
        "https://h:-1",
        "https://h:+1",
        "https://h:4x",
        "https://h: 443",
        "https://h:%34",
        "https://[::1",
        "https://::1/",
        "https://[::1]a/",
        "https://a[::1]/",
        "https://[::1]::1",
        "https://[]",
        "https://[h]/",
        "https://u[@h/",
        "https://\xC3\xA9",
        "https://h/\xC3\xA9",
        "\xEF\xBB\xBFhttps://h/",
        "https://h/\x7F",
        {"https://h\0/", 11},
        {"https://h/\0", 11},
        {"\0", 1},
    };
    for (const std::string_view text : texts) {
        EXPECT_EQ(Url::parse(text), std::nullopt) << testing::PrintToString(text);
    }
}

TEST(UrlTest, VeryLongTextsAreReadWhole) {
    const std::string part(1'000'000, 'a');
    const auto url = Url::parse(part + "://" + part + "@" + part + ":" + std::string(part.size(), '1') + "/" +
                                part + "?" + part + "#" + part);
    ASSERT_TRUE(url);
    EXPECT_EQ(url->host(), part);
    EXPECT_EQ(url->fragment(), part);
    EXPECT_EQ(Url::parse("https://" + part + " "), std::nullopt);
    EXPECT_EQ(Url::parse("https://[" + std::string(1'000'000, ':') + "]"), std::nullopt);
}

TEST(UrlTest, EqualMeansTheSameText) {
    EXPECT_EQ(Url::parse("https://h/"), Url::parse("https://h/"));
    EXPECT_NE(Url::parse("https://h/"), Url::parse("https://h"));
    EXPECT_NE(Url::parse("https://h/"), Url::parse("https://H/"));
}

TEST(UrlTest, LastPathComponentFollowsTheLastSlash) {
    constexpr std::pair<std::string_view, std::string_view> cases[] = {
        {"https://h/a/b.dmg", "b.dmg"},
        {"https://h/a/b.dmg?c/d#e/f", "b.dmg"},
        {"https://h/a/", ""},
        {"https://h", ""},
        {"b.dmg", "b.dmg"},
        {"https:b.dmg", "b.dmg"},
        {"https://h/a%2Fb", "a%2Fb"},
        {"", ""},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(Url::parse(text)->lastPathComponent(), expected) << text;
    }
}

void expectResolved(std::string_view base, std::string_view reference, std::string_view expected) {
    const auto resolved = Url::parse(base)->resolve(*Url::parse(reference));
    ASSERT_TRUE(resolved) << base << " and " << reference;
    EXPECT_EQ(resolved->text(), expected) << base << " and " << reference;
}

// The examples of RFC 3986, section 5.4, those for a strict reader.
TEST(UrlTest, ReferencesResolveAsTheStandardsExamples) {
    constexpr std::pair<std::string_view, std::string_view> cases[] = {
        // normal
        {"g:h", "g:h"},
        {"g", "http://a/b/c/g"},
        {"./g", "http://a/b/c/g"},
        {"g/", "http://a/b/c/g/"},
        {"/g", "http://a/g"},
        {"//g", "http://g"},
        {"?y", "http://a/b/c/d;p?y"},
        {"g?y", "http://a/b/c/g?y"},
        {"#s", "http://a/b/c/d;p?q#s"},
        {"g#s", "http://a/b/c/g#s"},
        {"g?y#s", "http://a/b/c/g?y#s"},
        {";x", "http://a/b/c/;x"},
        {"g;x", "http://a/b/c/g;x"},
        {"g;x?y#s", "http://a/b/c/g;x?y#s"},
        {"", "http://a/b/c/d;p?q"},
        {".", "http://a/b/c/"},
        {"./", "http://a/b/c/"},
        {"..", "http://a/b/"},
        {"../", "http://a/b/"},
        {"../g", "http://a/b/g"},
        {"../..", "http://a/"},
        {"../../", "http://a/"},
        {"../../g", "http://a/g"},
        // abnormal
        {"../../../g", "http://a/g"},
        {"../../../../g", "http://a/g"},
        {"/./g", "http://a/g"},
        {"/../g", "http://a/g"},
        {"g.", "http://a/b/c/g."},
        {".g", "http://a/b/c/.g"},
        {"g..", "http://a/b/c/g.."},
        {"..g", "http://a/b/c/..g"},
        {"./../g", "http://a/b/g"},
        {"./g/.", "http://a/b/c/g/"},
        {"g/./h", "http://a/b/c/g/h"},
        {"g/../h", "http://a/b/c/h"},
        {"g;x=1/./y", "http://a/b/c/g;x=1/y"},
        {"g;x=1/../y", "http://a/b/c/y"},
        {"g?y/./x", "http://a/b/c/g?y/./x"},
        {"g?y/../x", "http://a/b/c/g?y/../x"},
        {"g#s/./x", "http://a/b/c/g#s/./x"},
        {"g#s/../x", "http://a/b/c/g#s/../x"},
        {"http:g", "http:g"},
    };
    for (const auto& [reference, expected] : cases) {
        expectResolved("http://a/b/c/d;p?q", reference, expected);
    }
}

TEST(UrlTest, ResolvingKeepsAbsentAndEmptyApart) {
    expectResolved("https://u@h:1/a?q#f", "?", "https://u@h:1/a?");
    expectResolved("https://u@h:1/a?q#f", "#", "https://u@h:1/a?q#");
    expectResolved("https://@h:/a", "b", "https://@h:/b");
    expectResolved("https://h", "b", "https://h/b");
    expectResolved("https://h", "", "https://h");
    expectResolved("https://h", "../b", "https://h/b");
    expectResolved("https://h/a/./b/..", "?q", "https://h/a/./b/..?q");
    expectResolved("https://h?q", "b", "https://h/b");
    expectResolved("https://h/a?b/c", "d", "https://h/d");
    expectResolved("https://h/a", "//", "https://");
    expectResolved("https://h/a", "//i:/b/../c", "https://i:/c");
    expectResolved("https:///a", "b", "https:///b");
    expectResolved("https:///a", "..//b", "https:////b");
    expectResolved("s:a", "b", "s:b");
    expectResolved("s:a/b", "../../c", "s:/c");
    expectResolved("s:", "b", "s:b");
}

TEST(UrlTest, NothingIsDecodedInResolving) {
    expectResolved("https://h/a/b", "%2e%2e/c", "https://h/a/%2e%2e/c");
    expectResolved("https://h/a%2Fb/c", "../d", "https://h/d");
    expectResolved("https://h/a/b", "..%2Fc", "https://h/a/..%2Fc");
}

TEST(UrlTest, ReferenceWithASchemeStandsAsWritten) {
    expectResolved("https://h/a", "HTTPS://h/b/../c", "HTTPS://h/b/../c");
    expectResolved("https://h/a", "https:b", "https:b");
    expectResolved("a", "s:b", "s:b");
}

TEST(UrlTest, BaseWithoutASchemeResolvesNothing) {
    EXPECT_EQ(Url::parse("//h/a")->resolve(*Url::parse("b")), std::nullopt);
    EXPECT_EQ(Url::parse("")->resolve(*Url::parse("")), std::nullopt);
}

TEST(UrlTest, PathThatWouldReadAsAHostIsNoResult) {
    EXPECT_EQ(Url::parse("s:/a")->resolve(*Url::parse("..//evil.test/b")), std::nullopt);
    EXPECT_EQ(Url::parse("s:/a")->resolve(*Url::parse("/.//evil.test/b")), std::nullopt);
}

} // namespace

} // namespace InstallerCore
