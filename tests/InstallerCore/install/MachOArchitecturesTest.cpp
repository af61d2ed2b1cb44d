#include "InstallerCore/install/MachOArchitectures.h"

#include "tests/support/Expect.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

using testing::ElementsAre;
using Testing::expectInstallerError;
using testing::IsEmpty;

constexpr std::uint32_t arm64 = 0x0100000C;
constexpr std::uint32_t x86_64 = 0x01000007;
constexpr std::uint32_t i386 = 0x00000007;
constexpr std::uint32_t powerPC64 = 0x01000012;

enum class Order { big, little };

std::string word(std::uint32_t value, Order order) {
    std::string bytes;
    for (unsigned index = 0; index < 4; ++index) {
        const unsigned shift = 8 * (order == Order::big ? 3 - index : index);
        bytes += static_cast<char>((value >> shift) & 0xFFU);
    }
    return bytes;
}

std::string thin(std::uint32_t processor, Order order, std::uint32_t magic = 0xFEEDFACF) {
    return word(magic, order) + word(processor, order);
}

struct Universal {
    std::uint32_t magic;
    std::size_t entrySize;
    Order order;
};

constexpr Universal allUniversal[] = {{0xCAFEBABE, 20, Order::big},
                                      {0xCAFEBABE, 20, Order::little},
                                      {0xCAFEBABF, 32, Order::big},
                                      {0xCAFEBABF, 32, Order::little}};

std::string universal(const Universal& format, const std::vector<std::uint32_t>& processors,
                      std::uint32_t count) {
    std::string bytes = word(format.magic, format.order) + word(count, format.order);
    for (const std::uint32_t processor : processors) {
        // Offsets and sizes that lead nowhere.
        bytes += word(processor, format.order) + std::string(format.entrySize - 4, '\xFF');
    }
    return bytes;
}

std::string universal(const Universal& format, const std::vector<std::uint32_t>& processors) {
    return universal(format, processors, static_cast<std::uint32_t>(processors.size()));
}

std::set<std::string> architecturesIn(const std::string& bytes) {
    return machOArchitectures(asBytes(bytes));
}

void expectError(const char* text, const std::string& bytes) {
    expectInstallerError(text, [&bytes] { static_cast<void>(architecturesIn(bytes)); });
}

TEST(MachOArchitecturesTest, ThinExecutableHasItsOneArchitecture) {
    for (const Order order : {Order::big, Order::little}) {
        EXPECT_THAT(architecturesIn(thin(arm64, order)), ElementsAre("arm64"));
        EXPECT_THAT(architecturesIn(thin(x86_64, order)), ElementsAre("x64"));
    }
}

TEST(MachOArchitecturesTest, OtherProcessorsHaveNoName) {
    for (const std::uint32_t other : {i386, powerPC64, 0x0000000CU, 0x0200000CU, 0U, 0xFFFFFFFFU}) {
        EXPECT_THAT(architecturesIn(thin(other, Order::little)), IsEmpty());
        EXPECT_THAT(architecturesIn(universal(allUniversal[0], {other, other})), IsEmpty());
    }
    // The types of the other byte order.
    EXPECT_THAT(architecturesIn(word(0xFEEDFACF, Order::little) + word(arm64, Order::big)), IsEmpty());
}

TEST(MachOArchitecturesTest, BytesAreReadInTheOrderOfTheirMagicNumber) {
    // As they lie in a file that was built on a Mac.
    EXPECT_THAT(architecturesIn(std::string("\xCF\xFA\xED\xFE\x0C\x00\x00\x01", 8)), ElementsAre("arm64"));
    EXPECT_THAT(architecturesIn(std::string("\xCA\xFE\xBA\xBE\x00\x00\x00\x01\x01\x00\x00\x07", 12)),
                ElementsAre("x64"));
}

TEST(MachOArchitecturesTest, SubtypesAreNotLookedAt) {
    EXPECT_THAT(architecturesIn(thin(arm64, Order::little) + word(0x80000002, Order::little)),
                ElementsAre("arm64"));
}

TEST(MachOArchitecturesTest, UniversalExecutableHasThemAll) {
    for (const Universal& format : allUniversal) {
        EXPECT_THAT(architecturesIn(universal(format, {x86_64, arm64})), ElementsAre("arm64", "x64"));
        EXPECT_THAT(architecturesIn(universal(format, {x86_64, i386, arm64})), ElementsAre("arm64", "x64"));
        EXPECT_THAT(architecturesIn(universal(format, {arm64, arm64})), ElementsAre("arm64"));
        EXPECT_THAT(architecturesIn(universal(format, {i386})), IsEmpty());
    }
}

TEST(MachOArchitecturesTest, ListHasOneToSixtyFourEntries) {
    for (const Universal& format : allUniversal) {
        std::vector<std::uint32_t> processors(64, i386);
        processors.back() = arm64;
        const std::string longest = universal(format, processors);
        EXPECT_THAT(architecturesIn(longest), ElementsAre("arm64"));
        EXPECT_LE(longest.size(), 2056U);

        processors.push_back(arm64);
        for (const std::uint32_t count : {0U, 65U, 0x80000001U, 0xFFFFFFFFU}) {
            expectError("Invalid Mach-O architecture count", universal(format, processors, count));
        }
        // The count is judged before the list is read.
        expectError("Invalid Mach-O architecture count", universal(format, {}, 65));
    }
}

TEST(MachOArchitecturesTest, OnlyProcessorTypesOfTheListAreRead) {
    for (const Universal& format : allUniversal) {
        const std::string whole = universal(format, {x86_64, arm64});
        const std::size_t needed = 8 + format.entrySize + 4;
        EXPECT_THAT(architecturesIn(whole.substr(0, needed)), ElementsAre("arm64", "x64"));
        for (std::size_t length = 0; length < needed; ++length) {
            expectError("Invalid Mach-O header", whole.substr(0, length));
        }
    }
}

TEST(MachOArchitecturesTest, HeaderThatIsCutShortIsInvalid) {
    for (const Order order : {Order::big, Order::little}) {
        const std::string whole = thin(arm64, order);
        for (std::size_t length = 0; length < whole.size(); ++length) {
            expectError("Invalid Mach-O header", whole.substr(0, length));
        }
    }
    expectError("Invalid Mach-O header", "");
    expectError("Invalid Mach-O header", "#!/");
}

TEST(MachOArchitecturesTest, OtherFormatsAreUnsupported) {
    for (const Order order : {Order::big, Order::little}) {
        expectError("Unsupported Mach-O format", thin(i386, order, 0xFEEDFACE));
        expectError("Unsupported Mach-O format", thin(arm64, order, 0xFEEDFACD));
        expectError("Unsupported Mach-O format", thin(arm64, order, 0xCAFEBABD));
        expectError("Unsupported Mach-O format", thin(arm64, order, 0xCAFEBAC0));
        expectError("Unsupported Mach-O format", thin(arm64, order, 0));
    }
    // Unknown wins over too short.
    expectError("Unsupported Mach-O format", "#!/b");
    expectError("Unsupported Mach-O format", "\x7F"
                                             "ELF");
}

} // namespace

} // namespace InstallerCore
