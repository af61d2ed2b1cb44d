#include "InstallerCore/config/CompareVersion.h"

#include "tests/support/Expect.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

void expectInvalid(std::string_view a, std::string_view b) {
    SCOPED_TRACE(testing::PrintToString(a) + " and " + testing::PrintToString(b));
    Testing::expectInstallerError("Invalid version", [=] { compareVersion(a, b); });
}

TEST(CompareVersionTest, ComponentsAreComparedAsNumbersInTurn) {
    constexpr std::pair<std::string_view, std::string_view> ascending[] = {
        {"1.2.9", "1.2.10"},
        {"0.9.9", "1.0.0"},
        {"1.9.9", "1.10.0"},
        {"9.0.0", "10.0.0"},
        {"1.2.3", "1.3.0"},
        {"0.0.0", "0.0.1"},
        {"0.4294967295.0", "0.4294967296.0"},
        {"9223372036854775806.0.0", "9223372036854775807.0.0"},
        {"0.0.9223372036854775807", "0.1.0"},
    };
    for (const auto& [lower, higher] : ascending) {
        EXPECT_EQ(compareVersion(lower, higher), -1) << lower << ' ' << higher;
        EXPECT_EQ(compareVersion(higher, lower), 1) << higher << ' ' << lower;
    }
}

TEST(CompareVersionTest, EqualNumbersAreEqualHoweverWritten) {
    EXPECT_EQ(compareVersion("1.2.3", "1.2.3"), 0);
    EXPECT_EQ(compareVersion("01.2.3", "1.2.3"), 0);
    EXPECT_EQ(compareVersion("001.002.003", "1.2.3"), 0);
    EXPECT_EQ(compareVersion("0.0.0", "00.000.0"), 0);
    EXPECT_EQ(compareVersion("9223372036854775807.0.0", "9223372036854775807.0.0"), 0);
    EXPECT_EQ(compareVersion(std::string(1000, '0') + "1.0.0", "1.0.0"), 0);
}

TEST(CompareVersionTest, AnyOtherFormIsInvalidOnEitherSide) {
    const std::string_view invalid[] = {
        "",          "1",       "1.2",          "1.2.3.4", "1..3",         ".1.2.3",  "1.2.3.",
        ".1.2",      "1.2.",    "..",           "...",     "x1.2.3",       "v1.2.3",  "1.2.3-beta",
        "1.2.3+4",   "1.2.x",   "1,2,3",        " 1.2.3",  "1.2.3 ",       "1. 2.3",  "1.2.3\n",
        "1.2.3\r\n", "\n1.2.3", "1.2.3\n4.5.6", "1\n.2.3", "+1.2.3",       "-1.2.3",  "1.+2.3",
        "1.2.-3",    "0x1.2.3", "1e1.2.3",      "1_0.2.3", {"1.2.3\0", 6}, {"\0", 1},
    };
    for (const std::string_view version : invalid) {
        expectInvalid(version, "1.2.3");
        expectInvalid("1.2.3", version);
        expectInvalid(version, version);
    }
}

TEST(CompareVersionTest, DigitsOfOtherScriptsAreInvalid) {
    for (const char* version : {"\xD9\xA1.2.3",         // Arabic-Indic
                                "1.2.\xEF\xBC\x93",     // full width
                                "1.2.\xE0\xA5\xA9",     // Devanagari
                                "1.\xF0\x9D\x9F\x90.3", // mathematical
                                "1.2.3\xD9\xA1", "1.2.\xC2\xB3",
                                "1\xEF\xBC\x8E"
                                "2.3.4"}) { // superscript, full stop
        expectInvalid(version, "1.2.3");
    }
}

TEST(CompareVersionTest, ComponentsBeyond64BitsAreInvalid) {
    for (const char* component : {"9223372036854775808", "18446744073709551616", "18446744073709551617",
                                  "99999999999999999999", "100000000000000000000000000000000000000000"}) {
        const std::string large = component;
        expectInvalid(large + ".2.3", "1.2.3");
        expectInvalid("1." + large + ".3", "1.2.3");
        expectInvalid("1.2." + large, "1.2.3");
        expectInvalid("1.2.3." + large, "1.2.3");
        expectInvalid("1.2.3", "1.2." + large);
    }
}

TEST(CompareVersionTest, VeryLongTextsAreInvalid) {
    expectInvalid(std::string(1'000'000, '.'), "1.2.3");
    expectInvalid(std::string(1'000'000, '9') + ".2.3", "1.2.3");
}

} // namespace

} // namespace InstallerCore
