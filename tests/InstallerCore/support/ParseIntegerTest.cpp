#include "InstallerCore/support/ParseInteger.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace InstallerCore {

namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();

TEST(ParseIntegerTest, DecimalDigitsWithOneSign) {
    EXPECT_EQ(parseInteger("0"), 0);
    EXPECT_EQ(parseInteger("-0"), 0);
    EXPECT_EQ(parseInteger("+0"), 0);
    EXPECT_EQ(parseInteger("5"), 5);
    EXPECT_EQ(parseInteger("+5"), 5);
    EXPECT_EQ(parseInteger("-5"), -5);
    EXPECT_EQ(parseInteger("4294967296"), 4'294'967'296);
}

TEST(ParseIntegerTest, LeadingZerosDoNotCount) {
    EXPECT_EQ(parseInteger("007"), 7);
    EXPECT_EQ(parseInteger("-007"), -7);
    EXPECT_EQ(parseInteger(std::string(1000, '0') + "8"), 8);
}

TEST(ParseIntegerTest, TheRangeIsThatOf64Bits) {
    EXPECT_EQ(parseInteger("9223372036854775807"), largest);
    EXPECT_EQ(parseInteger("+9223372036854775807"), largest);
    EXPECT_EQ(parseInteger("-9223372036854775808"), smallest);
    for (const char* text : {"9223372036854775808", "-9223372036854775809", "18446744073709551616",
                             "18446744073709551621", "99999999999999999999"}) {
        EXPECT_EQ(parseInteger(text), std::nullopt) << text;
    }
}

TEST(ParseIntegerTest, AnyOtherFormIsNoInteger) {
    const std::string_view texts[] = {"",   "+",   "-",   "++5", "--5",      "+-5",          "-+5",
                                      " 5", "5 ",  "5\n", "\t5", "5x",       "x5",           "0x10",
                                      "5.", "5.0", "1e3", "1,0", "1_0",      "\xEF\xBC\x95", "\xD9\xA5",
                                      "5-", "5+",  "- 5", "NaN", {"5\0", 2}, {"\0005", 2}};
    for (const std::string_view text : texts) {
        EXPECT_EQ(parseInteger(text), std::nullopt) << text;
    }
}

} // namespace

} // namespace InstallerCore
