#include "InstallerCore/support/Json.h"

#include "InstallerCore/support/PlatformError.h"

#include <gtest/gtest.h>

#include <limits>

namespace InstallerCore {

namespace {

template <typename Call>
void expectJsonError(JsonErrorCode code, const std::string& description, Call call) {
    try {
        call();
        ADD_FAILURE() << "no error instead of: " << description;
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), ErrorDomain::json);
        EXPECT_EQ(error.code(), static_cast<int>(code));
        EXPECT_EQ(error.what(), description);
    }
}

void expectCorrupt(std::string_view document) {
    SCOPED_TRACE(testing::PrintToString(document.substr(0, 80)));
    expectJsonError(JsonErrorCode::corrupt, "The data is not valid JSON.",
                    [document] { return Json::parse(asBytes(document)); });
}

Json::Value object(std::string_view document) {
    return Json::parseObject(asBytes(document));
}

TEST(JsonTest, AnyWholeValueIsADocument) {
    EXPECT_EQ(Json::parse(asBytes(R"("a\u00e9\n")")), "a\xC3\xA9\n");
    EXPECT_EQ(Json::parse(asBytes(" 5 ")), 5);
    EXPECT_TRUE(Json::parse(asBytes("null")).is_null());
    EXPECT_EQ(Json::parse(asBytes("[1,2]")).size(), 2U);
}

TEST(JsonTest, WhatIsNoJsonIsCorrupt) {
    for (const std::string_view document :
         {"",    " ",   "{",   "[1",  "\"a",  "{\"a\":1,}", "{'a':1}",   "{a:1}",    "01",      "+1",   "1.",
          "NaN", "nul", "1 2", "{}x", "[1]]", "\"\\x\"",    "\"\\u12\"", "\"a\nb\"", "// c\n1", "1e999"}) {
        expectCorrupt(document);
    }
    expectCorrupt({"{}\0", 3});
}

TEST(JsonTest, TextsMustBeUtf8) {
    for (const char* document :
         {"\"\xFF\"", "\"\xC3\"", "\"\xED\xA0\x80\"", "\"\xC0\x80\"", "\"\\ud800\"", "\"\\udc00\\ud800\""}) {
        expectCorrupt(document);
    }
    expectCorrupt({"\xFF\xFE\"\0a\0\"\0", 8}); // UTF-16
}

TEST(JsonTest, DeepNestingNeitherCrashesNorIsAccepted) {
    constexpr std::size_t depth = 1'000'000;
    expectCorrupt(std::string(depth, '['));
    const std::string whole = std::string(depth, '[') + std::string(depth, ']');
    expectJsonError(JsonErrorCode::typeMismatch, "The top level is not an object.",
                    [&whole] { return Json::parseObject(asBytes(whole)); });
}

TEST(JsonTest, TheTopLevelMayBeHeldToAnObject) {
    EXPECT_TRUE(object("{}").empty());
    for (const std::string_view document : {"[]", "\"a\"", "1", "true", "null"}) {
        expectJsonError(JsonErrorCode::typeMismatch, "The top level is not an object.",
                        [document] { return object(document); });
    }
}

TEST(JsonTest, AMissingMemberIsNamed) {
    const auto read = [](const Json::Value& value) {
        return [&value] { return Json::member(value, "key"); };
    };
    const std::string description = "There is no value for \"key\".";
    expectJsonError(JsonErrorCode::keyNotFound, description, read(object(R"({"Key":1,"ke":2})")));
    expectJsonError(JsonErrorCode::keyNotFound, description, read(Json::parse(asBytes("[1]"))));
}

TEST(JsonTest, OnlyAStringIsText) {
    EXPECT_EQ(Json::text(object(R"({"key":""})"), "key"), "");
    EXPECT_EQ(Json::text(object(R"({"key":"a\u0000b"})"), "key"), std::string("a\0b", 3));
    for (const std::string_view value : {"null", "true", "5", "1.5", "[\"a\"]", "{}"}) {
        const std::string document = "{\"key\":" + std::string(value) + "}";
        expectJsonError(JsonErrorCode::typeMismatch, "The value of \"key\" is not a string.",
                        [&document] { return Json::text(object(document), "key"); });
    }
}

TEST(JsonTest, OnlyAnArrayOfStringsIsTexts) {
    EXPECT_TRUE(Json::texts(object(R"({"key":[]})"), "key").empty());
    EXPECT_EQ(Json::texts(object(R"({"key":["b","a"]})"), "key"), (std::vector<std::string>{"b", "a"}));
    for (const std::string_view value : {"null", "\"a\"", "5", "{}"}) {
        const std::string document = "{\"key\":" + std::string(value) + "}";
        expectJsonError(JsonErrorCode::typeMismatch, "The value of \"key\" is not an array.",
                        [&document] { return Json::texts(object(document), "key"); });
    }
    for (const std::string_view value : {"[\"a\",1]", "[null]", "[[\"a\"]]", "[true]"}) {
        const std::string document = "{\"key\":" + std::string(value) + "}";
        expectJsonError(JsonErrorCode::typeMismatch, "The value of \"key\" is not an array of strings.",
                        [&document] { return Json::texts(object(document), "key"); });
    }
}

TEST(JsonTest, IntegersReachBothEndsOf64Bits) {
    const Json::Value values =
        object(R"({"zero":0,"minus":-0,"largest":9223372036854775807,"smallest":-9223372036854775808})");
    EXPECT_EQ(Json::integer(values, "zero"), 0);
    EXPECT_EQ(Json::integer(values, "minus"), 0);
    EXPECT_EQ(Json::integer(values, "largest"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(Json::integer(values, "smallest"), std::numeric_limits<std::int64_t>::min());
}

TEST(JsonTest, NothingElseIsAnInteger) {
    for (const std::string_view value :
         {"null", "true", "\"5\"", "1.5", "1.0", "1e3", "9223372036854775808", "18446744073709551615",
          "18446744073709551616", "-9223372036854775809", "[5]"}) {
        const std::string document = "{\"key\":" + std::string(value) + "}";
        expectJsonError(JsonErrorCode::typeMismatch, "The value of \"key\" is not a 64-bit integer.",
                        [&document] { return Json::integer(object(document), "key"); });
    }
}

TEST(JsonTest, WritingKeepsTheOrderAndAddsNoBlank) {
    const Json::Record record = {{"b", "x\"\\/\n\xC3\xA9"}, {"a", {1, -2}}, {"c", {"t", "u"}}};
    EXPECT_EQ(Json::compact(record), "{\"b\":\"x\\\"\\\\/\\n\xC3\xA9\",\"a\":[1,-2],\"c\":[\"t\",\"u\"]}");
}

TEST(JsonTest, WritingRefusesTextThatIsNotUtf8) {
    EXPECT_THROW(static_cast<void>(Json::compact({{"a", "\xFF"}})), nlohmann::json::exception);
}

} // namespace

} // namespace InstallerCore
