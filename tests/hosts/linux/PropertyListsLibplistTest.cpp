#include "hosts/linux/PropertyListsLibplist.h"

#include "hosts/posix/ProcessesPosix.h"
#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <limits>

namespace InstallerCore {

namespace {

PropertyValue parse(ByteView document) {
    return PropertyListsLibplist().parse(document);
}

PropertyValue parseXml(const std::string& element) {
    return parse(asBytes("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                         "<plist version=\"1.0\">\n" +
                         element + "\n</plist>\n"));
}

void expectCorrupt(ByteView document) {
    Testing::expectPlatformError(PropertyListErrorCode::corrupt, [&] { static_cast<void>(parse(document)); });
}

// The value in Python's own words, as an independent writer of property lists makes a document of it.
Bytes writtenByPython(const std::string& value, const std::string& format) {
    const std::string script = "import plistlib, datetime, sys\n"
                               "sys.stdout.buffer.write(plistlib.dumps(" +
                               value + ", fmt=plistlib.FMT_" + format + "))";
    const ProcessResult result =
        ProcessesPosix().run(KAVIO_PYTHON, {"-c", script}, Processes::ErrorOutput::inherited);
    EXPECT_EQ(result.status, 0);
    return result.output;
}

template <typename Kind>
Kind as(const PropertyValue& value) {
    const Kind* const kind = std::get_if<Kind>(&value.value);
    EXPECT_NE(kind, nullptr) << "kind " << value.value.index();
    return kind == nullptr ? Kind() : *kind;
}

class PropertyListsLibplistTest : public testing::TestWithParam<const char*> {
protected:
    [[nodiscard]] static PropertyValue parsed(const std::string& value) {
        return parse(writtenByPython(value, GetParam()));
    }
};

TEST_P(PropertyListsLibplistTest, EveryKindIsRead) {
    const PropertyValue document =
        parsed("{'yes': True, 'no': False, 'real': -2.5, 'text': 'a', 'data': b'\\0\\xff\\n',"
               " 'array': ['x', 1, []], 'inner': {'': ''}, 'date': datetime.datetime(2020, 1, 1)}");
    ASSERT_NE(document.dictionary(), nullptr);
    const PropertyDictionary& values = *document.dictionary();
    EXPECT_EQ(values.size(), 8U);
    EXPECT_TRUE(as<bool>(values.at("yes")));
    EXPECT_FALSE(as<bool>(values.at("no")));
    EXPECT_EQ(as<double>(values.at("real")), -2.5);
    EXPECT_EQ(as<std::string>(values.at("text")), "a");
    using namespace std::string_literals;
    EXPECT_EQ(as<Bytes>(values.at("data")), toBytes("\0\xFF\n"s));
    const auto array = as<PropertyArray>(values.at("array"));
    ASSERT_EQ(array.size(), 3U);
    EXPECT_EQ(as<std::string>(array[0]), "x");
    EXPECT_EQ(as<std::int64_t>(array[1]), 1);
    EXPECT_TRUE(as<PropertyArray>(array[2]).empty());
    EXPECT_EQ(as<std::string>(as<PropertyDictionary>(values.at("inner")).at("")), "");
    as<PropertyOther>(values.at("date"));
}

TEST_P(PropertyListsLibplistTest, AnyKindMayBeAtTheTop) {
    EXPECT_EQ(as<std::string>(parsed("'text'")), "text");
    EXPECT_EQ(as<std::int64_t>(parsed("7")), 7);
    EXPECT_TRUE(as<bool>(parsed("True")));
    EXPECT_TRUE(as<PropertyArray>(parsed("[]")).empty());
    EXPECT_TRUE(as<PropertyDictionary>(parsed("{}")).empty());
    EXPECT_TRUE(as<Bytes>(parsed("b''")).empty());
}

TEST_P(PropertyListsLibplistTest, IntegersAreReadToTheirLimits) {
    const auto numbers = as<PropertyArray>(
        parsed("[0, 1, -1, 127, 128, 255, 256, 65535, 65536, 2**31, 2**32, -2**31, 2**63 - 1, -2**63]"));
    const std::vector<std::int64_t> expected{0,
                                             1,
                                             -1,
                                             127,
                                             128,
                                             255,
                                             256,
                                             65'535,
                                             65'536,
                                             2'147'483'648,
                                             4'294'967'296,
                                             -2'147'483'648,
                                             std::numeric_limits<std::int64_t>::max(),
                                             std::numeric_limits<std::int64_t>::min()};
    ASSERT_EQ(numbers.size(), expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(as<std::int64_t>(numbers[index]), expected[index]);
    }
    for (const char* number : {"2**63", "2**64 - 1"}) {
        as<PropertyOther>(parsed(number));
    }
}

TEST_P(PropertyListsLibplistTest, TextsKeepTheirCharacters) {
    const auto texts = as<PropertyArray>(parsed("['', ' two words ', '<&>\"', '\\u00e9', '\\u65e5\\u672c', "
                                                "'\\U0001f600', 'a\\nb\\tc', 'x' * 70000]"));
    const std::vector<std::string> expected{"",        " two words ",           "<&>\"",
                                            "\u00E9",  "\u65E5\u672C",          "\U0001F600",
                                            "a\nb\tc", std::string(70'000, 'x')};
    ASSERT_EQ(texts.size(), expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(as<std::string>(texts[index]), expected[index]);
    }
}

TEST_P(PropertyListsLibplistTest, LargeContainersAreRead) {
    const auto values = as<PropertyDictionary>(
        parsed("{'array': list(range(50000)), 'dictionary': {str(i): i for i in range(20000)}}"));
    EXPECT_EQ(as<PropertyArray>(values.at("array")).size(), 50'000U);
    EXPECT_EQ(as<std::int64_t>(as<PropertyArray>(values.at("array")).back()), 49'999);
    EXPECT_EQ(as<PropertyDictionary>(values.at("dictionary")).size(), 20'000U);
    EXPECT_EQ(as<std::int64_t>(as<PropertyDictionary>(values.at("dictionary")).at("12345")), 12'345);
}

// A document cut short is never read as a shorter one, but for what comes after its last element.
TEST_P(PropertyListsLibplistTest, TruncatedDocumentIsCorrupt) {
    const Bytes document =
        writtenByPython("{'a': [1, 'two', b'three', 4.5, True], 'b': {'c': '\\u00e9'}}", GetParam());
    const std::string_view text = asText(document);
    const auto end = text.starts_with("bplist") ? text.size() : text.rfind("</dict>") + 7;
    for (std::size_t length = 0; length < end; ++length) {
        SCOPED_TRACE(length);
        expectCorrupt(ByteView(document).first(length));
    }
    EXPECT_EQ(as<PropertyDictionary>(parse(document)).size(), 2U);
}

TEST_P(PropertyListsLibplistTest, DamagedDocumentIsReadOrCorrupt) {
    const Bytes document =
        writtenByPython("{'a': [1, 'two', b'three', 4.5, True], 'b': {'c': '\\u00e9'}}", GetParam());
    int corrupt = 0;
    for (std::size_t place = 0; place < document.size(); ++place) {
        for (const std::byte bits : {std::byte{0x01}, std::byte{0x10}, std::byte{0x80}, std::byte{0xFF}}) {
            Bytes damaged = document;
            damaged[place] ^= bits;
            try {
                static_cast<void>(parse(damaged));
            } catch (const PlatformError& error) {
                EXPECT_EQ(error.domain(), ErrorDomain::propertyList);
                ++corrupt;
            }
        }
    }
    EXPECT_GT(corrupt, 0);
}

INSTANTIATE_TEST_SUITE_P(Formats, PropertyListsLibplistTest, testing::Values("XML", "BINARY"));

TEST(PropertyListsXmlTest, WrongDocumentsAreCorrupt) {
    for (const char* document : {"",
                                 " ",
                                 "hello",
                                 "<",
                                 "<plist",
                                 "<plist>",
                                 "<plist></plist>",
                                 "<html><body/></html>",
                                 "{a = b;}",
                                 "{\"a\": 1}",
                                 "[1]",
                                 "bplist",
                                 "bplist00",
                                 "BPLIST00",
                                 "\xFF\xFE<\x00p",
                                 "<plist><dict>",
                                 "<plist><array></dict></plist>",
                                 "<plist><dict><true/></dict></plist>",
                                 "<plist><string>a</dict></string></plist>",
                                 "<plist><string>a&#0;b</string></plist>"}) {
        SCOPED_TRACE(document);
        expectCorrupt(asBytes(document));
    }
}

TEST(PropertyListsXmlTest, TextThatIsNotUtf8IsCorrupt) {
    for (const char* text : {"\xFF", "a\xC3", "\xED\xA0\x80", "\xF5\x80\x80\x80"}) {
        const std::string bad = text;
        Testing::expectPlatformError(PropertyListErrorCode::corrupt,
                                     [&] { parseXml("<string>" + bad + "</string>"); });
        Testing::expectPlatformError(PropertyListErrorCode::corrupt,
                                     [&] { parseXml("<dict><key>" + bad + "</key><true/></dict>"); });
    }
}

TEST(PropertyListsXmlTest, LastOfTwoEqualKeysCounts) {
    const auto values = as<PropertyDictionary>(
        parseXml("<dict><key>a</key><integer>1</integer><key>a</key><integer>2</integer></dict>"));
    EXPECT_EQ(values.size(), 1U);
    EXPECT_EQ(as<std::int64_t>(values.at("a")), 2);
}

TEST(PropertyListsXmlTest, CommentsAndSectionsAreUnderstood) {
    EXPECT_EQ(as<std::string>(parseXml("<!-- <dict> --><string>a<![CDATA[</dict>]]>b</string>")),
              "a</dict>b");
    EXPECT_EQ(
        as<PropertyArray>(parseXml("<array ><!--</array>--><?x </array>?><true />\n<dict/></array >")).size(),
        2U);
}

} // namespace

} // namespace InstallerCore
