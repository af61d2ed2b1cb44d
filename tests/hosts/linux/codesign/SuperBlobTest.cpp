#include "hosts/linux/codesign/SuperBlob.h"

#include "tests/hosts/linux/codesign/MachOBytes.h"
#include "tests/hosts/linux/codesign/RefusalOf.h"
#include "tests/hosts/linux/codesign/SignatureBytes.h"

#include <gtest/gtest.h>

#include <string>

namespace InstallerCore::CodeSign {

namespace {

using Testing::blobOf;
using Testing::refusalOf;
using Testing::superBlobOf;

constexpr const char* damaged = "the signature is damaged";

// Two blobs: of 11 bytes at offset 28, of 8 bytes at offset 39.
Bytes twoBlobs() {
    return superBlobOf({{0, blobOf(codeDirectoryMagic, asBytes("abc"))}, {0x10000, blobOf(cmsMagic, {})}});
}

std::string refusal(const Bytes& signature) {
    return refusalOf([&signature] { return readSuperBlob(signature); });
}

TEST(SuperBlobTest, givesEachBlobWithItsHeaderByItsSlot) {
    const Bytes signature = twoBlobs();
    const SignatureBlobs blobs = readSuperBlob(signature);
    ASSERT_EQ(blobs.size(), 2U);
    EXPECT_EQ(blobs.at(0).data(), signature.data() + 28);
    EXPECT_EQ(blobs.at(0).size(), 11U);
    EXPECT_EQ(blobMagic(blobs.at(0)), codeDirectoryMagic);
    EXPECT_EQ(blobs.at(0x10000).data(), signature.data() + 39);
    EXPECT_EQ(blobMagic(blobs.at(0x10000)), cmsMagic);
}

TEST(SuperBlobTest, mayBeEmpty) {
    EXPECT_TRUE(readSuperBlob(superBlobOf({})).empty());
}

TEST(SuperBlobTest, everyBoundIsChecked) {
    const struct {
        std::size_t offset;
        std::uint32_t number;
        const char* rule;
    } damages[] = {
        {0, 0xfade0cc1, damaged},  {4, 48, damaged}, // longer than what is there
        {4, 0xFFFFFFFF, damaged},  {4, 46, damaged}, // the last blob ends outside
        {4, 27, damaged},                            // not even the entries
        {4, 0, damaged},           {8, 3, damaged},  // a third entry: the bytes of the first blob
        {8, 65, damaged},          {8, 0xFFFFFFFF, damaged}, {12, 0x10000, "the signature has a blob twice"},
        {16, 27, damaged},                            // among the entries
        {16, 0, damaged},          {16, 40, damaged}, // its header ends outside
        {16, 0xFFFFFFFF, damaged}, {32, 7, damaged},  // shorter than its header
        {32, 20, damaged},                            // ends outside
        {32, 0xFFFFFFFF, damaged},
    };

    for (const auto& [offset, number, rule] : damages) {
        Bytes signature = twoBlobs();
        Testing::put(signature, offset, number, 4, true);
        EXPECT_EQ(refusal(signature), rule) << offset << " := " << number;
    }
}

TEST(SuperBlobTest, anythingThatIsCutShortIsRefused) {
    const Bytes whole = twoBlobs();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(refusal({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}), damaged)
            << size;
    }
}

// As a tool leaves it that puts a shorter signature in the place of a longer one.
TEST(SuperBlobTest, anythingMayFollow) {
    Bytes signature = twoBlobs();
    for (const char last : {'\0', 'a'}) {
        signature.push_back(static_cast<std::byte>(last));
        const SignatureBlobs blobs = readSuperBlob(signature);
        ASSERT_EQ(blobs.size(), 2U);
        EXPECT_EQ(blobs.at(0x10000).size(), 8U);
    }
}

TEST(SuperBlobTest, blobsMayShareBytes) {
    Bytes signature = twoBlobs();
    Testing::put(signature, 24, 28, 4, true); // the second entry has the first one's offset
    const SignatureBlobs blobs = readSuperBlob(signature);
    EXPECT_EQ(blobs.at(0).data(), blobs.at(0x10000).data());
}

TEST(SuperBlobTest, aBlobIsExactlyAsLongAsItSays) {
    Bytes blob = blobOf(cmsMagic, asBytes("abc"));
    EXPECT_EQ(blobMagic(blob), cmsMagic);
    blob.push_back(std::byte{0});
    EXPECT_EQ(refusalOf([&] { return blobMagic(blob); }), damaged);
    blob.resize(10);
    EXPECT_EQ(refusalOf([&] { return blobMagic(blob); }), damaged);
    blob.resize(7);
    EXPECT_EQ(refusalOf([&] { return blobMagic(blob); }), damaged);
}

} // namespace

} // namespace InstallerCore::CodeSign
