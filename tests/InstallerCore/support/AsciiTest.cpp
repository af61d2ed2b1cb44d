#include "InstallerCore/support/Ascii.h"

#include <gtest/gtest.h>

#include <string>

namespace InstallerCore {

namespace {

// All bytes that the test holds for.
template <typename Test>
std::string bytesThat(Test test) {
    std::string found;
    for (int byte = 0; byte <= 0xFF; ++byte) {
        const char c = static_cast<char>(byte);
        if (test(c)) {
            found.push_back(c);
        }
    }
    return found;
}

TEST(AsciiTest, DigitsAreDecimalOnesOnly) {
    EXPECT_EQ(bytesThat(Ascii::isDigit), "0123456789");
    EXPECT_EQ(bytesThat(Ascii::isHexadecimalDigit), "0123456789ABCDEFabcdef");
}

TEST(AsciiTest, ControlCharactersAreThoseBelowTheBlankAndTheLast) {
    const std::string found = bytesThat(Ascii::isControl);
    EXPECT_EQ(found.size(), 33U);
    EXPECT_EQ(found.substr(0, 2), std::string("\0\1", 2));
    EXPECT_EQ(found.substr(31), "\x1F\x7F");
}

TEST(AsciiTest, OnlyLettersOfAsciiChangeTheirCase) {
    EXPECT_EQ(bytesThat([](char c) { return Ascii::lowerCase(c) != c; }), "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_EQ(bytesThat([](char c) { return Ascii::upperCase(c) != c; }), "abcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(Ascii::lowerCase('Q'), 'q');
    EXPECT_EQ(Ascii::upperCase('q'), 'Q');
}

} // namespace

} // namespace InstallerCore
