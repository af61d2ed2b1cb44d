#include "InstallerCore/support/UnicodeText.h"

#include <gtest/gtest.h>

#include <set>

namespace InstallerCore {

namespace {

using Lines = std::vector<std::string_view>;

// The tab and the characters of general category Zs.
const std::set<char32_t> blanks = {0x0009, 0x0020, 0x00A0, 0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004,
                                   0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A, 0x202F, 0x205F, 0x3000};

const std::set<char32_t> newlines = {0x000A, 0x000B, 0x000C, 0x000D, 0x0085, 0x2028, 0x2029};

std::string utf8(char32_t point) {
    const auto byte = [point](unsigned shift, unsigned mask, unsigned mark) {
        return static_cast<char>(((point >> shift) & mask) | mark);
    };
    if (point < 0x80) {
        return {byte(0, 0x7F, 0)};
    }
    if (point < 0x800) {
        return {byte(6, 0x1F, 0xC0), byte(0, 0x3F, 0x80)};
    }
    if (point < 0x10000) {
        return {byte(12, 0x0F, 0xE0), byte(6, 0x3F, 0x80), byte(0, 0x3F, 0x80)};
    }
    return {byte(18, 0x07, 0xF0), byte(12, 0x3F, 0x80), byte(6, 0x3F, 0x80), byte(0, 0x3F, 0x80)};
}

// Every code point that has a place in UTF-8.
template <typename Call>
void forEachPoint(Call call) {
    for (char32_t point = 0; point <= 0x10FFFF; ++point) {
        if (point < 0xD800 || point > 0xDFFF) {
            call(point, utf8(point));
        }
    }
}

TEST(UnicodeTextTest, OnlyNewlinesEndALine) {
    forEachPoint([](char32_t point, const std::string& character) {
        const std::string text = "a" + character + "b";
        const Lines expected = newlines.contains(point) ? Lines{"a", "b"} : Lines{text};
        ASSERT_EQ(lines(text), expected) << std::hex << static_cast<std::uint32_t>(point);
    });
}

TEST(UnicodeTextTest, EachNewlineEndsALineOfItsOwn) {
    EXPECT_EQ(lines(""), Lines{""});
    EXPECT_EQ(lines("a"), Lines{"a"});
    EXPECT_EQ(lines("a\n"), (Lines{"a", ""}));
    EXPECT_EQ(lines("\n\n"), (Lines{"", "", ""}));
    EXPECT_EQ(lines("a\r\nb"), (Lines{"a", "", "b"}));
    EXPECT_EQ(lines("\xC2\x85\xE2\x80\xA8"), (Lines{"", "", ""}));
}

TEST(UnicodeTextTest, OnlyBlanksAndNewlinesAreTrimmed) {
    forEachPoint([](char32_t point, const std::string& character) {
        const bool goes = blanks.contains(point) || newlines.contains(point);
        ASSERT_EQ(trimmed(character), goes ? "" : character) << std::hex << static_cast<std::uint32_t>(point);
    });
}

TEST(UnicodeTextTest, TrimmingEndsAtTheFirstOtherCharacterOfEachSide) {
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(trimmed(" \t\r\n "), "");
    EXPECT_EQ(trimmed("a"), "a");
    EXPECT_EQ(trimmed(" a b\t"), "a b");
    EXPECT_EQ(trimmed("\xE3\x80\x80\xC2\xA0\xE2\x80\x89"
                      "a\xE2\x80\xAF\xE2\x80\xA9"),
              "a");
    EXPECT_EQ(trimmed(" \xE2\x80\x8B "), "\xE2\x80\x8B") << "a zero-width space is no blank";
    EXPECT_EQ(trimmed(" \xEF\xBB\xBF "), "\xEF\xBB\xBF") << "nor is a byte order mark";
    EXPECT_EQ(trimmed(" \xE1\xA0\x8E "), "\xE1\xA0\x8E") << "nor the Mongolian vowel separator";
}

TEST(UnicodeTextTest, ByteOrderMarksGoWhereverTheyStand) {
    EXPECT_EQ(withoutByteOrderMarks(""), "");
    EXPECT_EQ(withoutByteOrderMarks("abc"), "abc");
    EXPECT_EQ(withoutByteOrderMarks("\xEF\xBB\xBF"), "");
    EXPECT_EQ(withoutByteOrderMarks("\xEF\xBB\xBF\xEF\xBB\xBF"
                                    "a\xEF\xBB\xBF"
                                    "b\xEF\xBB\xBF"),
              "ab");
    EXPECT_EQ(withoutByteOrderMarks("\xEF\xBB\xBE"), "\xEF\xBB\xBE");
}

TEST(UnicodeTextTest, EveryCodePointIsUtf8) {
    forEachPoint([](char32_t point, const std::string& character) {
        ASSERT_TRUE(isUtf8(character)) << std::hex << static_cast<std::uint32_t>(point);
    });
    EXPECT_TRUE(isUtf8(""));
    EXPECT_TRUE(isUtf8({"\0", 1}));
}

TEST(UnicodeTextTest, DamagedSequencesAreNotUtf8) {
    const std::string_view damaged[] = {
        "\x80", // a continuation without a beginning
        "a\xBF",
        "\xC2", // beginnings without their continuation
        "\xC2"
        "a",
        "\xE2\x80",
        "\xE2\x80"
        "a",
        "\xF0\x9F\x98",
        "\xC3\xA9\xA9", // one continuation too many
        "\xC0\x80",     // longer than need be
        "\xC1\xBF",
        "\xE0\x9F\xBF",
        "\xF0\x8F\xBF\xBF",
        "\xED\xA0\x80", // halves of a surrogate pair
        "\xED\xBF\xBF",
        "\xF4\x90\x80\x80", // beyond the last code point
        "\xF5\x80\x80\x80",
        "\xF8\x88\x80\x80\x80", // forms of five and six bytes
        "\xFC\x84\x80\x80\x80\x80",
        "\xFE",
        "\xFF",
    };
    for (const std::string_view text : damaged) {
        EXPECT_FALSE(isUtf8(text)) << testing::PrintToString(text);
    }
}

} // namespace

} // namespace InstallerCore
