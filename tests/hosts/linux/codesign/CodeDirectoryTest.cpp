#include "hosts/linux/codesign/CodeDirectory.h"

#include "tests/hosts/linux/codesign/MachOBytes.h"
#include "tests/hosts/linux/codesign/RefusalOf.h"
#include "tests/hosts/linux/codesign/SignatureBytes.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace InstallerCore::CodeSign {

namespace {

using Testing::directoryOf;
using Testing::DirectoryShape;
using Testing::refusalOf;

constexpr const char* damaged = "the code directory is damaged";
constexpr const char* notAllPages = "the code directory does not cover all pages";

// Two pages of 4 KiB and a part of a third.
const Bytes code = [] {
    Bytes bytes(2 * 4096 + 100, std::byte{'a'});
    std::fill(bytes.begin() + 4096, bytes.end(), std::byte{'b'});
    return bytes;
}();

std::string refusal(const Bytes& blob) {
    return refusalOf([&blob] { return CodeDirectory::parse(blob); });
}

bool isEqual(ByteView a, ByteView b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

TEST(CodeDirectoryTest, givesWhatIsInIt) {
    const Bytes blob = directoryOf(code, {.flags = 0x10000, .identifier = "test.a", .team = "SAMPLETEAM"});
    const CodeDirectory directory = CodeDirectory::parse(blob);
    EXPECT_EQ(directory.blob().data(), blob.data());
    EXPECT_EQ(directory.type(), HashType::sha256);
    EXPECT_EQ(directory.flags(), CodeDirectory::runtime);
    EXPECT_EQ(directory.identifier(), "test.a");
    EXPECT_EQ(directory.codeLimit(), code.size());
    EXPECT_EQ(directory.pageSize(), 4096U);
    ASSERT_EQ(directory.pageCount(), 3U);
    const ByteView view = code;
    EXPECT_TRUE(isEqual(directory.pageHash(0), hash(HashType::sha256, view.first(4096))));
    EXPECT_TRUE(isEqual(directory.pageHash(2), hash(HashType::sha256, view.last(100))));
    const Bytes whole = hash(HashType::sha256, blob);
    EXPECT_TRUE(isEqual(directory.cdHash(), ByteView(whole).first(20)));
}

TEST(CodeDirectoryTest, everyHashHasItsSize) {
    for (const HashType type :
         {HashType::sha1, HashType::sha256, HashType::sha256Truncated, HashType::sha384}) {
        const Bytes blob = directoryOf(code, {.type = type});
        const CodeDirectory directory = CodeDirectory::parse(blob);
        EXPECT_EQ(directory.type(), type);
        EXPECT_TRUE(isEqual(directory.pageHash(1), hash(type, ByteView(code).subspan(4096, 4096))));
        EXPECT_EQ(directory.cdHash().size(), 20U);
    }
}

TEST(CodeDirectoryTest, pagesHaveTheSizeThatItSays) {
    const struct {
        unsigned bits;
        std::uint64_t size;
        std::uint32_t count;
    } sizes[] = {{12, 4096, 3}, {14, 16384, 1}, {0, code.size(), 1}, {30, 1U << 30U, 1}};

    for (const auto& [bits, size, count] : sizes) {
        const Bytes blob = directoryOf(code, {.pageBits = bits});
        const CodeDirectory directory = CodeDirectory::parse(blob);
        EXPECT_EQ(directory.pageSize(), size);
        EXPECT_EQ(directory.pageCount(), count);
    }
    Bytes blob = directoryOf(code);
    Testing::put(blob, 39, 31, 1, true);
    EXPECT_EQ(refusal(blob), damaged);
}

TEST(CodeDirectoryTest, fullPagesHaveNoEmptyOneBehindThem) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{4096}, std::size_t{8192}}) {
        const Bytes blob = directoryOf(ByteView(code).first(size));
        EXPECT_EQ(CodeDirectory::parse(blob).pageCount(), (size + 4095) / 4096) << size;
    }
}

TEST(CodeDirectoryTest, versionsFromTheOldestToTheNewestAreKnown) {
    for (const std::uint32_t version :
         {0x20001U, 0x20100U, 0x20200U, 0x20300U, 0x20400U, 0x20500U, 0x20600U, 0x2f000U}) {
        EXPECT_EQ(refusal(directoryOf(code, {.version = version})), "") << std::hex << version;
    }
    for (const std::uint32_t version : {0U, 0x10000U, 0x20000U, 0x2f001U, 0x30000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(refusal(directoryOf(code, {.version = version})),
                  "the code directory is of an unknown version")
            << std::hex << version;
    }
}

TEST(CodeDirectoryTest, fieldsAreThoseOfItsVersion) {
    const struct {
        std::uint32_t version;
        std::size_t offset;
        const char* rule;
    } fields[] = {
        {0x20001, 44, ""}, // already the identifier, "test"
        {0x20100, 44, "the code directory covers scattered pages, which is not supported"},
        {0x20100, 48, ""},
        {0x20200, 48, damaged}, // the team lies outside
        {0x20200, 56, ""},
        {0x20300, 60, notAllPages}, // the long limit
        {0x20400, 60, notAllPages},
    };

    for (const auto& [version, offset, rule] : fields) {
        Bytes blob = directoryOf(code, {.version = version, .identifier = "test.identifier"});
        Testing::put(blob, offset, 0x74657374, 4, true);
        EXPECT_EQ(refusal(blob), rule) << std::hex << version << ' ' << offset;
    }
}

TEST(CodeDirectoryTest, aHeaderWithoutTheFieldsOfItsVersionIsRefused) {
    const struct {
        std::uint32_t version;
        std::size_t size;
    } headers[] = {{0x20001, 44}, {0x20100, 48}, {0x20200, 52}, {0x20300, 64}};

    for (const auto& [version, size] : headers) {
        Bytes blob = directoryOf({}, {.version = version, .identifier = ""});
        Testing::put(blob, 20, 40, 4, true); // the identifier: a zero that is there anyway
        Testing::put(blob, 16, 44, 4, true); // no hashes either
        for (const std::size_t actual : {size - 1, size}) {
            blob.resize(actual);
            Testing::put(blob, 4, actual, 4, true);
            EXPECT_EQ(refusal(blob), actual == size ? "" : damaged) << std::hex << version << ' ' << actual;
        }
    }
}

TEST(CodeDirectoryTest, theLongLimitCountsWhenThereIsOne) {
    Bytes blob = directoryOf(code, {.pageBits = 0});
    Testing::put(blob, 32, 5, 4, true);
    EXPECT_EQ(CodeDirectory::parse(blob).codeLimit(), 5U);
    constexpr std::uint64_t limit = (std::uint64_t{5} << 32U) + 7;
    Testing::put(blob, 56, limit, 8, true);
    EXPECT_EQ(CodeDirectory::parse(blob).codeLimit(), limit);
    EXPECT_EQ(CodeDirectory::parse(blob).pageSize(), limit);
}

TEST(CodeDirectoryTest, everyBoundIsChecked) {
    const Bytes whole = directoryOf(code, {.specialHashes = {{3, Bytes(32, std::byte{3})}}});
    const std::size_t hashes = whole.size() - 3 * 32;

    const struct {
        std::size_t offset;
        std::uint64_t number;
        std::size_t size;
        const char* rule;
    } damages[] = {
        {0, 0xfade0c01, 4, damaged},
        {4, whole.size() + 1, 4, "the signature is damaged"},
        {4, whole.size() - 1, 4, "the signature is damaged"},
        {16, hashes + 1, 4, damaged},
        {16, 0xFFFFFFFF, 4, damaged},
        {16, 95, 4, damaged}, // the special hashes begin before the blob
        {20, whole.size(), 4, damaged},
        {20, whole.size() - 1, 4, damaged}, // a text without its end
        {20, 0xFFFFFFFF, 4, damaged},
        {24, 0xFFFFFFFF, 4, damaged},
        {28, 2, 4, notAllPages},
        {28, 4, 4, notAllPages},
        {28, 0xFFFFFFFF, 4, notAllPages},
        {32, 8192, 4, notAllPages},
        {32, 12289, 4, notAllPages},
        {36, 20, 1, damaged},
        {37, 0, 1, "the code directory uses an unknown hash"},
        {37, 5, 1, "the code directory uses an unknown hash"},
        {37, 1, 1, damaged}, // whose size is another
        {39, 13, 1, notAllPages},
        {39, 255, 1, damaged},
        {44, 1, 4, "the code directory covers scattered pages, which is not supported"},
        {48, whole.size(), 4, damaged},
        {56, 1, 8, notAllPages},
        {56, ~std::uint64_t{0}, 8, notAllPages},
    };

    for (const auto& [offset, number, size, rule] : damages) {
        Bytes blob = whole;
        Testing::put(blob, offset, number, size, true);
        EXPECT_EQ(refusal(blob), rule) << offset << " := " << number;
    }
}

TEST(CodeDirectoryTest, anythingThatIsCutShortIsRefused) {
    const Bytes whole = directoryOf(code);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Bytes rest(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(refusalOf([&] { return CodeDirectory::parse(rest); }), "the signature is damaged") << size;
        if (size >= 8) {
            Testing::put(rest, 4, size, 4, true); // and says so
            EXPECT_EQ(refusalOf([&] { return CodeDirectory::parse(rest); }), damaged) << size;
        }
    }
}

TEST(CodeDirectoryTest, aSpecialSlotOfZerosIsAbsent) {
    const Bytes sealed = hash(HashType::sha256, asBytes("content"));
    const Bytes blob = directoryOf(code, {.specialHashes = {{1, sealed}, {3, sealed}}});
    const CodeDirectory directory = CodeDirectory::parse(blob);
    EXPECT_EQ(directory.specialSlotCount(), 3U);
    EXPECT_FALSE(directory.specialHash(0));
    ASSERT_TRUE(directory.specialHash(1));
    EXPECT_TRUE(isEqual(*directory.specialHash(1), sealed));
    EXPECT_FALSE(directory.specialHash(2));
    EXPECT_TRUE(directory.specialHash(3));
    EXPECT_FALSE(directory.specialHash(4));
}

} // namespace

} // namespace InstallerCore::CodeSign
