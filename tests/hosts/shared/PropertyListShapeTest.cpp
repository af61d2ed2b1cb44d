#include "hosts/shared/PropertyListShape.h"

#include "hosts/linux/PropertyListsLibplist.h"
#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <cstdint>

// Documents that a parser should not be given, by the limits and by the service that keeps to them.
namespace InstallerCore {

namespace {

constexpr PropertyListLimits few{.depth = 3, .values = 10};

// A binary document, object by object. Offsets have four bytes, references two.
class BinaryDocument {
public:
    // Returns the number of the object.
    std::size_t add(const std::string& bytes) {
        offsets_.push_back(text_.size());
        text_ += bytes;
        return offsets_.size() - 1;
    }

    static std::string reference(std::size_t object) { return bigEndian(object, 2); }

    std::size_t addArray(const std::vector<std::size_t>& members) {
        std::string bytes = "\xAF\x11" + bigEndian(members.size(), 2);
        for (const std::size_t member : members) {
            bytes += reference(member);
        }
        return add(bytes);
    }

    std::size_t addText(std::size_t length) {
        return add("\x5F\x12" + bigEndian(length, 4) + std::string(length, 'x'));
    }

    [[nodiscard]] std::string finish(std::size_t top) const {
        std::string result = text_;
        for (const std::size_t offset : offsets_) {
            result += bigEndian(offset, 4);
        }
        result += std::string(6, '\0') + '\4' + '\2';
        return result + bigEndian(offsets_.size(), 8) + bigEndian(top, 8) + bigEndian(text_.size(), 8);
    }

    static std::string bigEndian(std::uint64_t value, int width) {
        std::string result;
        for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
            result += static_cast<char>(value >> static_cast<unsigned>(shift) & 0xFFU);
        }
        return result;
    }

private:
    std::string text_ = "bplist00";
    std::vector<std::size_t> offsets_;
};

bool keeps(const std::string& document) {
    return keepsLimits(asBytes(document), few);
}

std::string repeated(int count, const std::string& text) {
    std::string result;
    for (int round = 0; round < count; ++round) {
        result += text;
    }
    return result;
}

std::string xml(const std::string& element) {
    return "<?xml version=\"1.0\"?><plist version=\"1.0\">" + element + "</plist>";
}

bool isRead(const std::string& document) {
    try {
        static_cast<void>(PropertyListsLibplist().parse(asBytes(document)));
        return true;
    } catch (const PlatformError& error) {
        EXPECT_STREQ(error.what(), PlatformError(PropertyListErrorCode::corrupt).what());
        return false;
    }
}

// Arrays in one another.
std::string deepBinary(std::size_t depth) {
    BinaryDocument document;
    std::size_t top = document.addArray({});
    for (std::size_t level = 1; level < depth; ++level) {
        top = document.addArray({top});
    }
    return document.finish(top);
}

// Each level names the one below so often; what is at the bottom is there as often as the product says.
std::string bomb(BinaryDocument document, std::size_t bottom, int levels, std::size_t width) {
    for (int level = 0; level < levels; ++level) {
        bottom = document.addArray(std::vector<std::size_t>(width, bottom));
    }
    return document.finish(bottom);
}

TEST(PropertyListShapeTest, DepthOfContainersIsLimited) {
    EXPECT_TRUE(keeps(xml(repeated(3, "<array>") + repeated(3, "</array>"))));
    EXPECT_FALSE(keeps(xml(repeated(4, "<array>") + repeated(4, "</array>"))));
    EXPECT_TRUE(keeps(xml("<array>" + repeated(4, "<array></array>") + "</array>")));
    EXPECT_TRUE(keeps(xml("<array><array><array><array/></array></array></array>"))) << "an empty one";
    EXPECT_TRUE(keeps(deepBinary(3)));
    EXPECT_TRUE(keeps(deepBinary(4))) << "an empty one";
    EXPECT_FALSE(keeps(deepBinary(5)));
}

TEST(PropertyListShapeTest, NumberOfValuesIsLimited) {
    EXPECT_TRUE(keeps(xml("<array>" + repeated(9, "<true/>") + "</array>")));
    EXPECT_FALSE(keeps(xml("<array>" + repeated(10, "<true/>") + "</array>")));
    BinaryDocument document;
    const std::size_t yes = document.add("\x09");
    EXPECT_TRUE(keeps(bomb(document, yes, 1, 9)));
    EXPECT_FALSE(keeps(bomb(document, yes, 1, 10)));
    EXPECT_TRUE(keeps(bomb(document, yes, 2, 2)));
    EXPECT_FALSE(keeps(bomb(document, yes, 2, 3)));
}

TEST(PropertyListShapeTest, LongTextIsWorthSeveralValues) {
    BinaryDocument document;
    const std::size_t text = document.addText(8 * 64);
    EXPECT_TRUE(keeps(document.finish(text)));
    EXPECT_TRUE(keeps(bomb(document, text, 1, 1)));
    EXPECT_FALSE(keeps(bomb(document, text, 1, 2)));
}

// Each hides a closing or an opening element from one of two readers.
TEST(PropertyListShapeTest, MarkupThatReadersTakeDifferentlyIsRefused) {
    for (const char* element :
         {"<dict a=\"</dict>\"></dict>", "<dict a=\">\" b=\"</dict>\"></dict>", "<string a='</dict>'/>",
          "<array><plist a=\"></array>\"></array>", "<array><!DOCTYPE x [ </array> ]></array>",
          "<array><![CDATA[</array>]]></array>", "<!--><array></array>-->", "<!---><array></array>-->",
          "<?><array></array>?>", "<!-- <array>", "<?x <array>", "<string><![CDATA[ </string>", "< array/>",
          "<array/ ></array>", "<Array/>", "<other/>", "<array><dict></array></dict>", "</array>",
          "<array x/>"}) {
        EXPECT_FALSE(keeps(xml(element))) << element;
        EXPECT_FALSE(isRead(xml(element))) << element;
    }
    EXPECT_FALSE(keeps("<!DOCTYPE plist [ <!ENTITY a \"b\"> ]><plist><true/></plist>"));
}

TEST(PropertyListShapeTest, HiddenClosingElementsDoNotHideTheDepth) {
    for (const char* step : {"<array><!--</array>-->", "<array><?x </array>?>",
                             "<array><string><![CDATA[</array>]]></string>"}) {
        EXPECT_TRUE(keeps(xml(step + std::string("</array>"))));
        EXPECT_FALSE(keeps(xml(repeated(4, step) + repeated(4, "</array>")))) << step;
        EXPECT_FALSE(isRead(xml(repeated(100'000, step) + repeated(100'000, "</array>")))) << step;
    }
}

TEST(PropertyListShapeTest, ReferencesInACircleAreRefused) {
    BinaryDocument self;
    EXPECT_FALSE(keeps(self.finish(self.addArray({0}))));
    BinaryDocument two;
    two.addArray({1});
    EXPECT_FALSE(keeps(two.finish(two.addArray({0}))));
    BinaryDocument dictionary;
    const std::size_t key = dictionary.add("\x51k");
    const std::size_t top =
        dictionary.add("\xD1" + BinaryDocument::reference(key) + BinaryDocument::reference(1));
    EXPECT_FALSE(keeps(dictionary.finish(top)));
    BinaryDocument unused; // a circle that nobody reaches
    const std::size_t yes = unused.add("\x09");
    unused.addArray({1});
    EXPECT_TRUE(keeps(unused.finish(yes)));
}

TEST(PropertyListShapeTest, ReferencesThatLeadNowhereAreRefused) {
    BinaryDocument document;
    const std::size_t array = document.addArray({7});
    EXPECT_FALSE(keeps(document.finish(array)));
    EXPECT_FALSE(keeps(document.finish(99))) << "the top itself";
    BinaryDocument cut;
    const std::size_t tooMany = cut.add("\xAF\x12\xFF\xFF\xFF\xFF");
    EXPECT_FALSE(keeps(cut.finish(tooMany)));
}

TEST(PropertyListShapeTest, CountsOfAnOddWidthAreRefused) {
    for (const std::string& count :
         {std::string("\x14") + std::string(16, '\0'), std::string("\x15") + std::string(32, '\0'),
          std::string("\x21\1"), std::string("\x51\1")}) {
        BinaryDocument document;
        const std::size_t array = document.add("\xAF" + count);
        EXPECT_FALSE(keeps(document.finish(array)));
    }
}

TEST(PropertyListShapeTest, TextsWithNulAreRefused) {
    using namespace std::string_literals;
    for (const std::string& text : {"\x53"s
                                    "a\0b"s,
                                    "\x52"s
                                    "a\0"s,
                                    "\x62\0a\0\0"s}) {
        BinaryDocument document;
        const std::size_t top = document.add(text);
        EXPECT_FALSE(isRead(document.finish(top)));
        BinaryDocument dictionary;
        dictionary.add(text);
        dictionary.add("\x09");
        EXPECT_FALSE(isRead(dictionary.finish(dictionary.add("\xD1\0\0\0\1"s))));
    }
    BinaryDocument document;
    EXPECT_TRUE(isRead(document.finish(document.add("\x62\0a\1\0"s)))) << "a half of a character may be zero";
}

TEST(PropertyListShapeTest, DocumentsOfADepthThatEndsAParserAreCorrupt) {
    EXPECT_TRUE(isRead(xml(repeated(256, "<array>") + repeated(256, "</array>"))));
    EXPECT_FALSE(isRead(xml(repeated(100'000, "<array>") + repeated(100'000, "</array>"))));
    EXPECT_FALSE(isRead(xml(repeated(100'000, "<dict><key>k</key>") + repeated(100'000, "</dict>"))));
    EXPECT_FALSE(isRead(repeated(1'000'000, "<array>")));
    EXPECT_TRUE(isRead(deepBinary(257)));
    EXPECT_FALSE(isRead(deepBinary(258)));
    EXPECT_FALSE(isRead(deepBinary(60'000)));
}

TEST(PropertyListShapeTest, DocumentsThatUnfoldWithoutEndAreCorrupt) {
    BinaryDocument small;
    EXPECT_FALSE(isRead(bomb(small, small.add("\x09"), 100, 10)));
    BinaryDocument large;
    EXPECT_FALSE(isRead(bomb(large, large.addText(1'000'000), 1, 60'000))) << "60 GB of text";
    BinaryDocument counted;
    EXPECT_FALSE(isRead(counted.finish(counted.add("\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"))));
}

TEST(PropertyListShapeTest, TrailerOfHugeNumbersIsCorrupt) {
    const std::string document = deepBinary(2);
    constexpr std::size_t trailer = 26;
    for (std::size_t place = document.size() - trailer; place < document.size(); ++place) {
        for (const char value : {'\0', '\x7F', '\xFF'}) {
            std::string damaged = document;
            damaged[place] = value;
            if (damaged != document) {
                static_cast<void>(isRead(damaged));
            }
        }
    }
    std::string counts = document;
    counts.replace(document.size() - 24, 24, std::string(24, '\xFF'));
    EXPECT_FALSE(isRead(counts));
}

TEST(PropertyListShapeTest, DocumentOfMoreThan16MebibytesIsCorrupt) {
    constexpr std::size_t limit = std::size_t{16} << 20U;
    const std::string frame = xml("<string></string>");
    const auto document = [&](std::size_t size) {
        return xml("<string>" + std::string(size - frame.size(), 'x') + "</string>");
    };
    EXPECT_TRUE(isRead(document(limit)));
    EXPECT_FALSE(isRead(document(limit + 1)));
}

} // namespace

} // namespace InstallerCore
