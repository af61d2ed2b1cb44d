#include "hosts/linux/PropertyListWriter.h"

#include "hosts/linux/PropertyListsLibplist.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace InstallerCore {

namespace {

const std::string head = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
)";

PropertyValue everyKind() {
    return {PropertyDictionary{
        {"array", {PropertyArray{{std::string("a")}, {PropertyArray{}}, {PropertyDictionary{}}}}},
        {"data", {toBytes(std::string(100, '\xff'))}},
        {"flags", {PropertyArray{{true}, {false}}}},
        {"number", {std::int64_t{-1}}},
        {"real", {2000.0}},
        {"text", {std::string("\u00fc")}},
    }};
}

TEST(PropertyListWriterTest, aListIsLaidOutInLines) {
    EXPECT_EQ(writePropertyList({PropertyDictionary{
                  {"b", {PropertyArray{{true}, {std::int64_t{7}}, {PropertyArray{}}}}},
                  {"a", {toBytes("data")}},
              }}),
              head + R"(<dict>
	<key>a</key>
	<data>
	ZGF0YQ==
	</data>
	<key>b</key>
	<array>
		<true/>
		<integer>7</integer>
		<array>
		</array>
	</array>
</dict>
</plist>
)");
}

TEST(PropertyListWriterTest, keysAndTextsAreEscaped) {
    EXPECT_EQ(writePropertyList({PropertyDictionary{{"<&>\"'\r", {std::string("]]>&amp;\r\n")}}}}),
              head + "<dict>\n\t<key>&lt;&amp;&gt;\"'&#13;</key>\n"
                     "\t<string>]]&gt;&amp;amp;&#13;\n</string>\n</dict>\n</plist>\n");
}

TEST(PropertyListWriterTest, whatIsReadAgainIsTheSame) {
    for (const PropertyValue& value : {everyKind(), PropertyValue{std::string(" \t\n\r<&>]]>")},
                                       PropertyValue{PropertyDictionary{{"<\r>", {std::string()}}}}}) {
        const std::string text = writePropertyList(value);
        EXPECT_EQ(writePropertyList(PropertyListsLibplist().parse(asBytes(text))), text);
    }
    const std::string text = writePropertyList({PropertyDictionary{{"k\r", {std::string("a\r\n&lt;")}}}});
    const PropertyValue read = PropertyListsLibplist().parse(asBytes(text));
    const std::string* const member = textMember(read, "k\r");
    ASSERT_NE(member, nullptr);
    EXPECT_EQ(*member, "a\r\n&lt;");
}

TEST(PropertyListWriterTest, aKindThatNobodyReadsIsNotWritten) {
    EXPECT_THROW(static_cast<void>(writePropertyList({PropertyArray{{PropertyOther{}}}})),
                 std::runtime_error);
}

} // namespace

} // namespace InstallerCore
