#include "InstallerCore/support/Base64.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

struct Pair {
    std::string_view plain;
    std::string_view encoded;
};

constexpr Pair pairs[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    {{"\0", 1}, "AA=="},
    {"\xFF\xFF\xFF", "////"},
    {"\xFB\xEF\xBE", "++++"},
};

TEST(Base64Test, PairsEncodeAndDecode) {
    for (const auto& [plain, encoded] : pairs) {
        EXPECT_EQ(encodeBase64(asBytes(plain)), encoded);
        EXPECT_EQ(decodeBase64(encoded), toBytes(plain)) << encoded;
    }
}

TEST(Base64Test, EveryByteSurvivesAtEveryPlaceInAGroup) {
    for (std::size_t length = 1; length <= 4; ++length) {
        for (unsigned value = 0; value < 256; ++value) {
            for (std::size_t place = 0; place < length; ++place) {
                Bytes bytes(length);
                bytes[place] = static_cast<std::byte>(value);
                ASSERT_EQ(decodeBase64(encodeBase64(bytes)), bytes);
            }
        }
    }
}

TEST(Base64Test, TextThatIsNotWholeGroupsIsRefused) {
    for (const std::string_view text : {"Z", "Zg", "Zg=", "Zm9vY", "Zm9vYmF", "Zm9v=", "="}) {
        EXPECT_EQ(decodeBase64(text), std::nullopt) << text;
    }
}

TEST(Base64Test, PaddingOnlyEndsTheText) {
    for (const std::string_view text :
         {"====", "Z===", "=Zg=", "Zg==Zg==", "Zm8=Zm8=", "Z=g=", "==Zg", "Zm9v====", "Zg=v"}) {
        EXPECT_EQ(decodeBase64(text), std::nullopt) << text;
    }
}

TEST(Base64Test, NothingOutsideTheAlphabetIsSkipped) {
    const std::string_view texts[] = {"Zm9v\n", "Zm9v\n\n\n\n", "Zm 9", " Zm9", "Zm9 ",       "Zm\r\n",
                                      "Zm9-",   "Zm9_",         "Zm9.", "Zm9%", "\xC3\xA9Zm", {"Zm9\0", 4}};
    for (const std::string_view text : texts) {
        EXPECT_EQ(decodeBase64(text), std::nullopt) << text;
    }
}

TEST(Base64Test, UnusedBitsAreNotLookedAt) {
    EXPECT_EQ(decodeBase64("Zh=="), toBytes("f"));
    EXPECT_EQ(decodeBase64("Zm9="), toBytes("fo"));
}

} // namespace

} // namespace InstallerCore
