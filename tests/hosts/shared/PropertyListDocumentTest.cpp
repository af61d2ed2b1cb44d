#include "hosts/shared/PropertyListDocument.h"

#include <gtest/gtest.h>

#include <string>

namespace InstallerCore {

namespace {

using namespace std::string_literals;

std::optional<PropertyListKind> kindOf(const std::string& document) {
    return propertyListKind(asBytes(document));
}

std::string withDeclaration(const std::string& declaration) {
    return declaration + "<plist version=\"1.0\"><string>a</string></plist>";
}

// Every character as two bytes, the low one first.
std::string widened(const std::string& text) {
    std::string result;
    for (const char c : text) {
        result.append({c, '\0'});
    }
    return result;
}

TEST(PropertyListDocumentTest, KindIsTold) {
    EXPECT_EQ(kindOf(withDeclaration("")), PropertyListKind::xml);
    const std::string binary = "bplist00\x09\x08"s + std::string(6, '\0') + "\1\1" + "\0\0\0\0\0\0\0\1"s +
                               std::string(8, '\0') + "\0\0\0\0\0\0\0\x09"s;
    EXPECT_EQ(kindOf(binary), PropertyListKind::binary);
    EXPECT_EQ(kindOf("bplist00"), std::nullopt);
}

TEST(PropertyListDocumentTest, Utf8MayBeNamed) {
    for (const char* declaration :
         {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>", "<?xml version='1.0' encoding='utf-8'?>",
          "<?xml version=\"1.0\" encoding = \"Utf-8\" ?>", "<?xml version=\"1.0\"?>",
          "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>"}) {
        EXPECT_EQ(kindOf(withDeclaration(declaration)), PropertyListKind::xml) << declaration;
    }
}

TEST(PropertyListDocumentTest, OtherEncodingsMayNot) {
    for (const char* declaration :
         {"<?xml version=\"1.0\" encoding=\"UTF-16\"?>", "<?xml version=\"1.0\" encoding='UTF-7'?>",
          "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>", "<?xml version=\"1.0\" encoding=\"UTF-8x\"?>",
          "<?xml version=\"1.0\" encoding=\"\"?>", "<?xml version=\"1.0\" encoding=UTF-16 ?>",
          "<?other?><?xml encoding=\"UTF-16\"?>", "<?xml encoding=\"UTF-8\"?><?xml encoding=\"UTF-16\"?>"}) {
        EXPECT_EQ(kindOf(withDeclaration(declaration)), std::nullopt) << declaration;
    }
}

TEST(PropertyListDocumentTest, XmlIsUtf8WithoutNul) {
    EXPECT_EQ(kindOf("<plist><string>\xC3\xA4</string></plist>"), PropertyListKind::xml);
    EXPECT_EQ(kindOf("<plist><string>\xE4</string></plist>"), std::nullopt);
    EXPECT_EQ(kindOf("<plist><string>a\0b</string></plist>"s), std::nullopt);
    EXPECT_EQ(kindOf(widened("<plist><string>a</string></plist>")), std::nullopt);
    EXPECT_EQ(kindOf("\xFF\xFE" + widened("<plist><string>a</string></plist>")), std::nullopt);
}

TEST(PropertyListDocumentTest, LimitsAreKept) {
    const auto nested = [](int depth) {
        std::string begin = "<plist>";
        std::string end = "</plist>";
        for (int level = 0; level < depth; ++level) {
            begin += "<array>";
            end = "</array>" + end;
        }
        return begin + end;
    };
    EXPECT_EQ(kindOf(nested(256)), PropertyListKind::xml);
    EXPECT_EQ(kindOf(nested(257)), std::nullopt);
}

} // namespace

} // namespace InstallerCore
