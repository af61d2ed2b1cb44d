#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/feed/FeedLines.h"
#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <utility>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;

std::string scalar(const std::string& value) {
    return readFeedLines("version: " + value).version.value();
}

// The same rules hold for all four values.
void expectErrorEverywhere(const std::string& text, const std::string& value) {
    SCOPED_TRACE(value);
    for (const char* key : {"version: ", "files:\n  - url: ", "files:\n  - url: a\n    sha512: ",
                            "files:\n  - url: a\n    size: "}) {
        expectInstallerError(text, [&] { return readFeedLines(key + value); });
    }
}

void expectMalformedJson(const std::string& value) {
    SCOPED_TRACE(value);
    for (const char* key : {"version: ", "files:\n  - url: ", "files:\n  - url: a\n    sha512: ",
                            "files:\n  - url: a\n    size: "}) {
        try {
            static_cast<void>(readFeedLines(key + value));
            ADD_FAILURE() << "read";
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.domain(), ErrorDomain::json);
            EXPECT_EQ(error.code(), static_cast<int>(JsonErrorCode::corrupt));
        }
    }
}

TEST(FeedScalarTest, PlainTextIsTakenAsWritten) {
    for (const char* text :
         {"",      "1.4.2", "null", "~",   "true", "- a", "a'b",        "a\"b\"",   "a [b]",
          "it''s", "a\\n",  "? a",  ": a", "% a",  "@a",  "`a`",        ",a",       "}",
          "]",     "-",     "=",    "<a",  "/",    "üñî", "\U0001F600", "\u200B'x'"}) {
        EXPECT_EQ(scalar(text), text);
    }
}

TEST(FeedScalarTest, SingleQuotesGoAndPairsBecomeOne) {
    const std::pair<const char*, const char*> cases[] = {
        {"'1.4.2'", "1.4.2"}, {"''", ""},       {"'it''s'", "it's"}, {"''''", "'"},     {"'''''''", "'''"},
        {"'''", "'"},         {"'a'b'", "a'b"}, {"' a '", " a "},    {"'\\n'", "\\n"},  {"'\"a\"'", "\"a\""},
        {"'[1]'", "[1]"},     {"'# a'", "# a"}, {"'''a'''", "'a'"},  {"'ü''ü'", "ü'ü"}, {"'a' 'b'", "a' 'b"},
    };
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(scalar(value), text) << value;
    }
}

TEST(FeedScalarTest, SingleQuoteMustClose) {
    for (const char* value : {"'", "'1.4.2", "'it''s", "'a' # note", "'a'b", "'\"", "'a'\u200B"}) {
        expectErrorEverywhere("Invalid YAML scalar", value);
    }
}

TEST(FeedScalarTest, DoubleQuotedTextIsAJsonString) {
    const std::pair<const char*, std::string> cases[] = {
        {R"("1.4.2")", "1.4.2"},
        {R"("")", ""},
        {R"("a\"b\\c\/d")", "a\"b\\c/d"},
        {R"("\b\f\n\r\t")", "\b\f\n\r\t"},
        {R"("\u0031\u002e\u0034")", "1.4"},
        {R"("\u00fc\u00FC")", "üü"},
        {R"("\ud83d\ude00")", "\U0001F600"},
        {R"("\uD83D\uDE00ü")", "\U0001F600ü"},
        {R"("a\u0000b")", std::string("a\0b", 3)},
        {R"("\ufeff")", "\uFEFF"}, // an escaped byte-order mark is no byte-order mark
        {R"("it''s 'quoted' [1] # a")", "it''s 'quoted' [1] # a"},
        {"\"\x7F\"", "\x7F"},
    };
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(scalar(value), text) << value;
    }
}

TEST(FeedScalarTest, DamagedJsonIsTheJsonParsersError) {
    for (const char* value :
         {R"(")",        R"("1.4.2)",   R"("a\")",           R"("\x41")",    R"("\u12")",
          R"("\u00zz")", R"("\ud83d")", R"("\ude00\ud83d")", R"("\ud83dx")", R"("\ud83d\u0041")",
          R"("a" "b")",  R"("a",)",     R"("a" # note)",     R"("a"b)",      R"("a": 1)",
          R"("\'")",     R"("a\)",      "\"a\tb\"",          "\"\x01\"",     "\"\x1F\"",
          "\"a\"\u200B"}) {
        expectMalformedJson(value);
    }
}

TEST(FeedScalarTest, NulBehindAJsonStringIsDamage) {
    expectMalformedJson(std::string("\"1.4.2\"\0", 8));
    expectMalformedJson(std::string("\"1.4.2\" \0 and more", 18));
    expectMalformedJson(std::string("\"1.4\0.2\"", 8));
}

TEST(FeedScalarTest, IndicatorsAreUnsupported) {
    for (const char* value : {"!", "!!str a", "&a", "&a b", "*", "*a", "[", "[1]", "[]", "{", "{}", "{a: b}",
                              "|", "|-", ">", ">+ a"}) {
        expectErrorEverywhere("Unsupported YAML scalar", value);
    }
}

} // namespace

} // namespace InstallerCore
