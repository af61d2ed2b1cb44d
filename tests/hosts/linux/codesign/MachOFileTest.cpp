#include "hosts/linux/codesign/MachOFile.h"

#include "tests/hosts/linux/codesign/MachOBytes.h"
#include "tests/hosts/linux/codesign/RefusalOf.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace InstallerCore::CodeSign {

namespace {

using Testing::Image;
using Testing::ImageKind;
using Testing::listedImage;
using Testing::refusalOf;
using Testing::universalFile;

constexpr std::uint32_t arm64 = 0x0100000C;
constexpr std::uint32_t intel64 = 0x01000007;

constexpr const char* cutShort = "is cut short";
constexpr const char* damagedList = "has a damaged list of load commands";

std::string refusal(const Bytes& file) {
    return refusalOf([&file] { return machOSlices(file); });
}

class MachOKindTest : public testing::TestWithParam<ImageKind> {};

TEST_P(MachOKindTest, findsTheSignatureAndTheInfoPlist) {
    const Image image(GetParam());
    ASSERT_TRUE(isMachO(image.bytes));
    const auto slices = machOSlices(image.bytes);
    ASSERT_EQ(slices.size(), 1U);
    EXPECT_EQ(slices[0].architecture, "");
    EXPECT_EQ(slices[0].image.size(), Image::size);
    EXPECT_EQ(slices[0].signatureOffset, Image::signature);
    EXPECT_EQ(slices[0].signature.data(), image.bytes.data() + Image::signature);
    EXPECT_EQ(slices[0].signature.size(), Image::size - Image::signature);
    EXPECT_EQ(asText(slices[0].infoPlist), Image::infoPlistText);
}

struct Damage {
    const char* what;
    std::function<void(Image&)> make;
    const char* rule;
};

void checkDamages(ImageKind kind, const std::vector<Damage>& damages) {
    for (const auto& [what, make, rule] : damages) {
        Image image(kind);
        make(image);
        EXPECT_EQ(refusal(image.bytes), rule) << what;
    }
}

TEST_P(MachOKindTest, aDamagedListOfLoadCommandsIsRefused) {
    checkDamages(
        GetParam(),
        {{"another format", [](Image& i) { i.word(0, 0xFEEDFACD); }, "is no Mach-O image"},
         {"all commands too long", [](Image& i) { i.word(20, Image::size); }, cutShort},
         {"all commands far too long", [](Image& i) { i.word(20, 0xFFFFFFFF); }, cutShort},
         {"one command too many", [](Image& i) { i.word(16, 4); }, damagedList},
         {"as many commands as there are numbers", [](Image& i) { i.word(16, 0xFFFFFFFF); }, damagedList},
         {"a command of no bytes", [](Image& i) { i.word(i.textCommand + 4, 0); }, damagedList},
         {"one without room for its size", [](Image& i) { i.word(i.textCommand + 4, 7); }, damagedList},
         {"one beyond the others", [](Image& i) { i.word(i.signatureCommand + 4, 17); }, damagedList},
         {"a huge one", [](Image& i) { i.word(i.signatureCommand + 4, 0xFFFFFFFF); }, damagedList},
         {"a segment without its fields", [](Image& i) { i.word(i.linkEditCommand + 4, 16); }, cutShort},
         {"a signature without its fields",
          [](Image& i) {
              i.word(20, i.signatureCommand + 8 - i.textCommand);
              i.word(i.signatureCommand + 4, 8);
          },
          cutShort}});
}

TEST_P(MachOKindTest, whatLiesOutsideOfTheImageIsRefused) {
    checkDamages(
        GetParam(),
        {{"more sections than there is room for", [](Image& i) { i.word(i.sectionCount, 2); }, cutShort},
         {"as many sections as there are numbers", [](Image& i) { i.word(i.sectionCount, 0xFFFFFFFF); },
          cutShort},
         {"section begins outside", [](Image& i) { i.word(i.sectionOffset, Image::size + 1); }, cutShort},
         {"section ends outside", [](Image& i) { i.address(i.sectionLength, Image::size); }, cutShort},
         {"section wraps around", [](Image& i) { i.address(i.sectionLength, ~std::uint64_t{0}); }, cutShort},
         {"__LINKEDIT begins outside", [](Image& i) { i.address(i.linkEditOffset, Image::size + 1); },
          cutShort},
         {"__LINKEDIT ends outside", [](Image& i) { i.address(i.linkEditSize, Image::size); }, cutShort},
         {"__LINKEDIT wraps around", [](Image& i) { i.address(i.linkEditSize, ~std::uint64_t{0}); },
          cutShort},
         {"signature begins outside", [](Image& i) { i.word(i.signatureCommand + 8, Image::size + 1); },
          cutShort},
         {"signature ends outside", [](Image& i) { i.word(i.signatureCommand + 12, Image::size); }, cutShort},
         {"signature wraps around", [](Image& i) { i.word(i.signatureCommand + 12, 0xFFFFFFFF); },
          cutShort}});
}

TEST_P(MachOKindTest, nothingFollowsTheLastSegmentAndInItTheSignature) {
    constexpr const char* behindSegment = "has something behind its last segment";
    constexpr const char* behindSignature = "has something behind its signature";
    checkDamages(
        GetParam(),
        {{"a byte behind all", [](Image& i) { i.bytes.push_back(std::byte{0}); }, behindSegment},
         {"__LINKEDIT ends early",
          [](Image& i) { i.address(i.linkEditSize, Image::size - Image::linkEdit - 1); }, behindSegment},
         {"no __LINKEDIT", [](Image& i) { i.text(i.linkEditCommand + 8, "__LINKEDIX"); }, behindSegment},
         {"two of it", [](Image& i) { i.text(i.textCommand + 8, "__LINKEDIT"); },
          "has two segments for the linker's data"},
         {"signature ends early", [](Image& i) { i.word(i.signatureCommand + 12, 0x1F); }, behindSignature},
         {"signature ends before __LINKEDIT",
          [](Image& i) { i.word(i.signatureCommand + 8, Image::linkEdit - 0x20); }, behindSignature},
         {"an empty signature in the middle", [](Image& i) { i.word(i.signatureCommand + 12, 0); },
          behindSignature},
         {"two signatures",
          [](Image& i) {
              i.word(i.linkEditCommand, 0x1D);
              i.word(i.linkEditCommand + 8, Image::signature);
              i.word(i.linkEditCommand + 12, Image::size - Image::signature);
          },
          "has two signatures"}});
}

TEST_P(MachOKindTest, anyImageThatIsCutShortIsRefused) {
    const Image image(GetParam());
    for (std::size_t size = 0; size < Image::size; ++size) {
        const Bytes rest(image.bytes.begin(), image.bytes.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_NE(refusal(rest), "") << size;
    }
}

TEST_P(MachOKindTest, anImageMayHaveNeitherSignatureNorInfoPlist) {
    Image image(GetParam());
    image.word(image.signatureCommand, 0x1B); // another command
    image.word(image.sectionCount, 0);
    const auto slices = machOSlices(image.bytes);
    EXPECT_TRUE(slices.at(0).signature.empty());
    EXPECT_TRUE(slices.at(0).infoPlist.empty());
}

TEST_P(MachOKindTest, onlyTheSectionOfTheTextSegmentIsTheInfoPlist) {
    Image elsewhere(GetParam());
    elsewhere.text(elsewhere.section + 16, "__DATA");
    EXPECT_TRUE(machOSlices(elsewhere.bytes).at(0).infoPlist.empty());
    Image longer(GetParam());
    longer.text(longer.section, "__info_plist2");
    EXPECT_TRUE(machOSlices(longer.bytes).at(0).infoPlist.empty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, MachOKindTest,
                         testing::Values(ImageKind{.wide = false, .bigEndian = false},
                                         ImageKind{.wide = false, .bigEndian = true},
                                         ImageKind{.wide = true, .bigEndian = false},
                                         ImageKind{.wide = true, .bigEndian = true}),
                         [](const auto& kind) {
                             return std::string(kind.param.wide ? "wide" : "narrow") +
                                    (kind.param.bigEndian ? "BigEndian" : "LittleEndian");
                         });

TEST(MachOFileTest, commandsFollowOneAnotherWhateverTheirSize) {
    Image image;
    // A byte of the command that only fills goes to the one before, so that the last begins at an odd offset.
    image.word(image.linkEditCommand + 4, 73);
    image.word(20, image.signatureCommand + 17 - image.textCommand);
    std::move_backward(image.bytes.begin() + static_cast<std::ptrdiff_t>(image.signatureCommand),
                       image.bytes.begin() + static_cast<std::ptrdiff_t>(image.signatureCommand + 16),
                       image.bytes.begin() + static_cast<std::ptrdiff_t>(image.signatureCommand + 17));
    EXPECT_EQ(machOSlices(image.bytes).at(0).signatureOffset, Image::signature);
}

TEST(MachOFileTest, aSegmentOfTheOtherWidthIsNone) {
    Image image;
    image.word(image.linkEditCommand, 1);
    EXPECT_EQ(refusal(image.bytes), "has something behind its last segment");
}

TEST(MachOFileTest, whatBeginsLikeAnImageIsOne) {
    const std::vector<std::pair<std::string, bool>> beginnings = {{"\xFE\xED\xFA\xCE", true},
                                                                  {"\xCE\xFA\xED\xFE", true},
                                                                  {"\xFE\xED\xFA\xCF", true},
                                                                  {"\xCF\xFA\xED\xFE", true},
                                                                  {"\xCA\xFE\xBA\xBE", true},
                                                                  {"\xCA\xFE\xBA\xBF", true},
                                                                  {"\xBE\xBA\xFE\xCA", false},
                                                                  {"\x7F"
                                                                   "ELF",
                                                                   false},
                                                                  {"#!/b", false},
                                                                  {"\xFE\xED\xFA", false},
                                                                  {"", false}};
    for (const auto& [beginning, expected] : beginnings) {
        EXPECT_EQ(isMachO(asBytes(beginning)), expected) << hexadecimal(asBytes(beginning));
    }
}

class UniversalFileTest : public testing::TestWithParam<bool> {
protected:
    [[nodiscard]] static bool wide() { return GetParam(); }

    [[nodiscard]] static Bytes pair() {
        return universalFile({listedImage(intel64, 3, 0x1000), listedImage(arm64, 0, 0x2000)}, wide());
    }

    // Where the fields of the second architecture in the list are.
    static constexpr std::size_t first = 8;

    [[nodiscard]] static std::size_t second() { return first + (wide() ? 32 : 20); }

    [[nodiscard]] static std::size_t number() { return wide() ? 8 : 4; }
};

TEST_P(UniversalFileTest, hasItsSlicesInTheOrderOfTheFile) {
    Image other;
    other.processor(intel64, 3);
    other.text(Image::infoPlist, "<other/>");
    const Bytes file =
        universalFile({listedImage(arm64, 0, 0x2000), {intel64, 3, 0x1000, other.bytes}}, wide());
    const auto slices = machOSlices(file);
    ASSERT_EQ(slices.size(), 2U);
    EXPECT_EQ(slices[0].architecture, "x86_64");
    EXPECT_EQ(slices[0].image.data(), file.data() + 0x1000);
    EXPECT_EQ(slices[0].signature.data(), file.data() + 0x1000 + Image::signature);
    EXPECT_EQ(slices[0].signatureOffset, Image::signature);
    EXPECT_EQ(asText(slices[0].infoPlist), "<other/>");
    EXPECT_EQ(slices[1].architecture, "arm64");
    EXPECT_EQ(slices[1].image.data(), file.data() + 0x2000);
}

TEST_P(UniversalFileTest, aDamagedListIsRefused) {
    constexpr const char* impossible = "has an impossible number of architectures";
    constexpr const char* overlap = "has architectures that overlap";

    const struct {
        std::size_t offset;
        std::uint64_t number;
        std::size_t size;
        const char* rule;
    } damages[] = {
        {4, 0, 4, impossible},
        {4, 65, 4, impossible},
        {4, 0xFFFFFFFF, 4, impossible},
        {4, 1, 4, "has something between its architectures"},
        {4, 3, 4, overlap}, // the third is all zeros: no bytes at the beginning
        {second() + 8, 0x2001, number(), cutShort},
        {second() + 8 + number(), Image::size + 1, number(), cutShort},
        {second() + 8 + number(), Image::size - 1, number(), "has something behind its last architecture"},
        {second() + 8, ~std::uint64_t{0}, number(), cutShort},
        {second() + 8 + number(), ~std::uint64_t{0}, number(), cutShort},
        {second() + 8, 0x1000, number(), overlap},
        {second() + 8, 0x1000 + Image::size - 1, number(), overlap},
        {second() + 8, first, number(), overlap}, // with the list itself
        {second() + 8 + number(), 0, number(), "has something behind its last architecture"},
        {0x1000 - 1, 1, 1, "has something between its architectures"},
        {0x1000 + Image::size, 1, 1, "has something between its architectures"},
        {0x2000 - 1, 1, 1, "has something between its architectures"},
        {0x2000, 0xCAFEBABE, 4, "arm64: is no Mach-O image"},
        {0x1000 + 16, 0xFFFFFFFF, 4, "x86_64: has a damaged list of load commands"},
    };

    for (const auto& [offset, number, size, rule] : damages) {
        Bytes file = pair();
        Testing::put(file, offset, number, size, true);
        EXPECT_EQ(refusal(file), rule) << std::hex << offset << " := " << number;
    }
}

TEST_P(UniversalFileTest, anImageForAnotherProcessorThanItsListNamesIsRefused) {
    const struct {
        std::size_t offset;
        std::uint32_t number;
        const char* architecture;
    } damages[] = {
        {first, arm64, "arm64"},     {first, 7, "i386"},
        {first, 99, "processor 99"}, {first, intel64 ^ 0x80000000, "processor 2164260871"},
        {first + 4, 8, "x86_64h"},   {first + 4, 4, "x86_64"},
        {second(), 12, "arm"},       {second() + 4, 2, "arm64e"},
    };

    for (const auto& [offset, number, architecture] : damages) {
        Bytes file = pair();
        Testing::put(file, offset, number, 4, true);
        EXPECT_EQ(refusal(file),
                  std::string(architecture) + ": is for another processor than the list names");
    }
    Bytes exchanged = pair();
    Testing::put(exchanged, first + 8, 0x2000, number(), true);
    Testing::put(exchanged, second() + 8, 0x1000, number(), true);
    EXPECT_EQ(refusal(exchanged), "arm64: is for another processor than the list names");
}

TEST_P(UniversalFileTest, capabilitiesOfAProcessorMayBeNamedInOnePlaceOnly) {
    for (const std::size_t field : {first + 4, second() + 4}) {
        Bytes file = pair();
        Testing::put(file, field, 0x80, 1, true);
        EXPECT_EQ(refusal(file), "");
    }
}

// What is not looked at: which architecture a Mac would call it, how the slice is aligned, what is reserved.
TEST_P(UniversalFileTest, noByteOfTheListIsFreeButThoseWithoutMeaning) {
    const Bytes whole = pair();
    for (std::size_t offset = 0; offset < second() + (second() - first); ++offset) {
        const std::size_t field = offset < first ? offset : (offset - first) % (second() - first);
        const bool isCapability = offset >= first && field == 4;
        const bool isBehindSize = offset >= first && field >= 8 + 2 * number();
        for (unsigned bit = 0; bit < 8; ++bit) {
            Bytes file = whole;
            file[offset] ^= std::byte{1} << bit;
            EXPECT_EQ(refusal(file) == "", isCapability || isBehindSize) << offset << ", bit " << bit;
        }
    }
}

TEST_P(UniversalFileTest, nothingFollowsTheLastArchitecture) {
    Bytes file = pair();
    file.push_back(std::byte{0});
    EXPECT_EQ(refusal(file), "has something behind its last architecture");
}

TEST_P(UniversalFileTest, aListThatIsCutShortIsRefused) {
    const Bytes file = pair();
    for (std::size_t size = 4; size < second() + 8 + 2 * number(); ++size) {
        const Bytes rest(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(refusal(rest), cutShort) << size;
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, UniversalFileTest, testing::Bool(),
                         [](const auto& wide) { return wide.param ? "wide" : "narrow"; });

TEST(MachOFileTest, architecturesHaveTheirNames) {
    const struct {
        std::uint32_t type;
        std::uint32_t subtype;
        const char* name;
    } architectures[] = {
        {7, 3, "i386"}, {intel64, 3, "x86_64"},   {intel64, 8, "x86_64h"}, {intel64, 0x80000003, "x86_64"},
        {12, 9, "arm"}, {arm64, 0, "arm64"},      {arm64, 2, "arm64e"},    {arm64, 0x80000002, "arm64e"},
        {18, 0, "ppc"}, {0x01000012, 0, "ppc64"}, {99, 0, "processor 99"},
    };

    for (const auto& [type, subtype, name] : architectures) {
        const Bytes file = universalFile({listedImage(type, subtype, 0x1000)});
        EXPECT_EQ(machOSlices(file).at(0).architecture, name);
    }
}

} // namespace

} // namespace InstallerCore::CodeSign
