#include "InstallerCore/support/Bytes.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

TEST(BytesTest, TextAndBytesAreTheSameStorage) {
    const std::string_view text("a\0\xFF", 3);
    const ByteView bytes = asBytes(text);
    ASSERT_EQ(bytes.size(), 3U);
    EXPECT_EQ(bytes[1], std::byte{0});
    EXPECT_EQ(bytes[2], std::byte{0xFF});
    EXPECT_EQ(asText(bytes).data(), text.data());
    EXPECT_EQ(asText(bytes), text);
}

TEST(BytesTest, BytesOfATextAreACopy) {
    std::string text = "abc";
    const Bytes bytes = toBytes(text);
    text = "xyz";
    EXPECT_EQ(asText(bytes), "abc");
}

TEST(BytesTest, EmptyIsEmpty) {
    EXPECT_TRUE(asText(Bytes()).empty());
    EXPECT_TRUE(toBytes("").empty());
    EXPECT_EQ(hexadecimal(Bytes()), "");
}

TEST(BytesTest, HexadecimalIsTwoLowerCaseDigitsAByte) {
    EXPECT_EQ(hexadecimal(asBytes(std::string_view("\x00\x01\x0F\x10\x7F\x80\xAB\xFF", 8))),
              "00010f107f80abff");
}

} // namespace

} // namespace InstallerCore
