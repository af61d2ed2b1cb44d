#include "hosts/linux/diskimage/UdifChecksum.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

TEST(UdifChecksumTest, IsTheCrcOfTheKnownExample) {
    EXPECT_EQ(crc32(0, asBytes("123456789")), 0xcbf43926U);
    EXPECT_EQ(crc32(crc32(0, asBytes("1234")), asBytes("56789")), 0xcbf43926U);
    EXPECT_EQ(crc32(0, {}), 0U);
}

TEST(UdifChecksumTest, ChecksumsOfPiecesCombine) {
    const std::uint32_t first = crc32(0, asBytes("1234"));
    EXPECT_EQ(combineCrc32(first, crc32(0, asBytes("56789")), 5), 0xcbf43926U);
    EXPECT_EQ(combineCrc32(first, 0, 0), first);
    EXPECT_EQ(combineCrc32(0, first, 4), first);
}

TEST(UdifChecksumTest, ZerosCostNothing) {
    for (const std::size_t length : {0U, 1U, 2U, 3U, 511U, 512U, 1'000'003U}) {
        EXPECT_EQ(crc32OfZeros(static_cast<std::int64_t>(length)), crc32(0, Bytes(length))) << length;
    }
    constexpr std::int64_t half = std::int64_t{1} << 61U;
    EXPECT_EQ(crc32OfZeros(2 * half), combineCrc32(crc32OfZeros(half), crc32OfZeros(half), half));
}

} // namespace

} // namespace InstallerCore
