#include "hosts/linux/diskimage/UdifImage.h"
#include "rehearsal/UdifWriter.h"
#include "tests/hosts/linux/diskimage/HandmadeImage.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using namespace Testing;
using Rehearsal::UdifCompression;
using Rehearsal::UdifOptions;
using Rehearsal::UdifZeros;

class UdifRoundTripTest : public ::testing::TestWithParam<UdifCompression> {
protected:
    UdifRoundTripTest() {
        for (unsigned number = 0; number < 12; ++number) {
            disk_ += sampleSectors(150 + number, number) + zeroSectors(40 * number);
        }
        writeFile(directory_ / "raw", disk_);
    }

    void expectTheSame(UdifOptions options) const {
        options.compression = GetParam();
        Rehearsal::writeUdif(directory_ / "raw", directory_ / "image", options);
        EXPECT_TRUE(decode(readFile(directory_ / "image")) == disk_);
    }

    TemporaryDirectory directory_;
    std::string disk_;
};

TEST_P(UdifRoundTripTest, WhatTheWriterWritesIsReadBack) {
    for (const UdifZeros zeros : {UdifZeros::filled, UdifZeros::ignored, UdifZeros::stored}) {
        for (const std::uint32_t sectors : {7U, 64U, 2048U}) {
            expectTheSame({.zeros = zeros, .runSectors = sectors});
        }
    }
}

TEST_P(UdifRoundTripTest, SeveralPartitionsAreReadBack) {
    const std::uint64_t sectors = disk_.size() / 512;
    expectTheSame({.runSectors = 16,
                   .partitions = {{.name = "first", .firstSector = 0, .sectorCount = 1},
                                  {.name = "second", .firstSector = 1, .sectorCount = 999},
                                  {.name = "third", .firstSector = 1000, .sectorCount = sectors - 1000}}});
    const UdifImage image(Descriptor(::open((directory_ / "image").c_str(), O_RDONLY | O_CLOEXEC)));
    ASSERT_EQ(image.partitions().size(), 3U);
    EXPECT_EQ(image.partitions()[1].name, "second");
    EXPECT_EQ(image.partitions()[2].firstSector, 1000);
}

std::string nameOf(const ::testing::TestParamInfo<UdifCompression>& compression) {
    switch (compression.param) {
    case UdifCompression::raw:
        return "Raw";
    case UdifCompression::zlib:
        return "Zlib";
    case UdifCompression::bzip2:
        return "Bzip2";
    case UdifCompression::lzma:
        return "Lzma";
    }
    return {};
}

INSTANTIATE_TEST_SUITE_P(All, UdifRoundTripTest,
                         ::testing::Values(UdifCompression::raw, UdifCompression::zlib,
                                           UdifCompression::bzip2, UdifCompression::lzma),
                         nameOf);

} // namespace

} // namespace InstallerCore
