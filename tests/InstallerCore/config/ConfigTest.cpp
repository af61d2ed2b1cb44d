#include "InstallerCore/config/Config.h"

#include "InstallerCore/support/PlatformError.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

struct Member {
    std::string key;
    std::string value; // as JSON
};

using Members = std::vector<Member>;

const Members sample = {
    {"installerVersion", R"("1.0.0")"},
    {"channelURL", R"("https://dist.mykavio.test/latest-mac.yml")"},
    {"offlineURL", R"("https://mykavio.test/offline")"},
    {"allowedHosts", R"(["dist.mykavio.test","mykavio.test"])"},
    {"macTeamID", R"("SAMPLETEAM")"},
    {"bundleID", R"("test.mykavio.app")"},
    {"windowsSignerSHA256", R"(["5f3a","9c0e"])"},
};

const Config decodedSample = {
    .installerVersion = "1.0.0",
    .channelURL = "https://dist.mykavio.test/latest-mac.yml",
    .offlineURL = "https://mykavio.test/offline",
    .allowedHosts = {"dist.mykavio.test", "mykavio.test"},
    .macTeamID = "SAMPLETEAM",
    .bundleID = "test.mykavio.app",
    .windowsSignerSHA256 = {"5f3a", "9c0e"},
};

bool isArray(const Member& member) {
    return member.value.starts_with('[');
}

std::string object(const Members& members) {
    std::string text;
    for (const auto& [key, value] : members) {
        text += (text.empty() ? "{\"" : ",\"") + key + "\":" + value;
    }
    return text + "}";
}

Config decode(std::string_view json) {
    return Config::decode(asBytes(json));
}

void expectFailure(std::string_view json, JsonErrorCode code, const std::string& description) {
    SCOPED_TRACE(testing::PrintToString(json.substr(0, 400)));
    try {
        static_cast<void>(decode(json));
        ADD_FAILURE() << "no error instead of: " << description;
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), ErrorDomain::json);
        EXPECT_EQ(error.code(), static_cast<int>(code));
        EXPECT_EQ(error.what(), description);
    }
}

void expectCorrupt(std::string_view json) {
    expectFailure(json, JsonErrorCode::corrupt, "The data is not valid JSON.");
}

// The sample, its i-th value replaced.
std::string withValue(std::size_t i, const std::string& value) {
    Members members = sample;
    members[i].value = value;
    return object(members);
}

TEST(ConfigTest, AllSevenMembersAreDecoded) {
    EXPECT_EQ(decode(object(sample)), decodedSample);
}

TEST(ConfigTest, EncodingIsCompactAndKeepsTheOrderOfTheKeys) {
    EXPECT_EQ(asText(decodedSample.encode()), object(sample));
    EXPECT_EQ(asText(Config().encode()),
              R"({"installerVersion":"","channelURL":"","offlineURL":"","allowedHosts":[],"macTeamID":"",)"
              R"("bundleID":"","windowsSignerSHA256":[]})");
}

TEST(ConfigTest, WhatWasEncodedDecodesToTheSame) {
    const Config config = {.installerVersion = "\"\\\n\x01",
                           .channelURL = "\xC3\xA9\xF0\x9F\x98\x80",
                           .allowedHosts = {"", "a", std::string("\0", 1)},
                           .windowsSignerSHA256 = {}};
    EXPECT_EQ(Config::decode(config.encode()), config);
}

TEST(ConfigTest, OrderAndSpaceDoNotMatterInDecoding) {
    const Members reversed(sample.rbegin(), sample.rend());
    EXPECT_EQ(decode(object(reversed)), decodedSample);
    EXPECT_EQ(decode(" \t\r\n" + object(sample) + "\n"), decodedSample);
}

TEST(ConfigTest, FurtherKeysAreDropped) {
    Members members = sample;
    members.insert(members.begin() + 3, {"linuxTeamID", R"({"a":[1,null]})"});
    members.push_back({"InstallerVersion", "5"});
    const Config config = decode(object(members));
    EXPECT_EQ(config, decodedSample);
    EXPECT_EQ(asText(config.encode()), object(sample));
}

TEST(ConfigTest, EveryKeyIsRequired) {
    for (std::size_t i = 0; i < sample.size(); ++i) {
        Members members = sample;
        members.erase(members.begin() + static_cast<std::ptrdiff_t>(i));
        expectFailure(object(members), JsonErrorCode::keyNotFound,
                      "There is no value for \"" + sample[i].key + "\".");
    }
    expectFailure("{}", JsonErrorCode::keyNotFound, "There is no value for \"installerVersion\".");
}

TEST(ConfigTest, EveryTypeIsStrict) {
    for (std::size_t i = 0; i < sample.size(); ++i) {
        const std::string key = sample[i].key;
        for (const char* value : {"null", "true", "5", "1.5", "{}", "{\"0\":\"a\"}"}) {
            expectFailure(withValue(i, value), JsonErrorCode::typeMismatch,
                          "The value of \"" + key + "\" is not " +
                              (isArray(sample[i]) ? "an array." : "a string."));
        }
    }
}

TEST(ConfigTest, TextsAndArraysAreNotTakenForEachOther) {
    for (std::size_t i = 0; i < sample.size(); ++i) {
        const bool array = isArray(sample[i]);
        expectFailure(withValue(i, array ? "\"a\"" : "[\"a\"]"), JsonErrorCode::typeMismatch,
                      "The value of \"" + sample[i].key + "\" is not " + (array ? "an array." : "a string."));
    }
}

TEST(ConfigTest, ArraysHoldStringsOnly) {
    for (std::size_t i = 0; i < sample.size(); ++i) {
        if (!isArray(sample[i])) {
            continue;
        }
        for (const char* value : {"[5]", "[\"a\",null]", "[[\"a\"]]", "[\"a\",{}]", "[false]"}) {
            expectFailure(withValue(i, value), JsonErrorCode::typeMismatch,
                          "The value of \"" + sample[i].key + "\" is not an array of strings.");
        }
        EXPECT_NO_THROW(static_cast<void>(decode(withValue(i, "[]")))) << sample[i].key;
    }
}

TEST(ConfigTest, NoValueIsCheckedForItsForm) {
    Members members = sample;
    for (Member& member : members) {
        member.value = isArray(member) ? R"(["", " x"])" : R"("")";
    }
    const Config config = decode(object(members));
    EXPECT_EQ(config.channelURL, "");
    EXPECT_EQ(config.allowedHosts, (std::vector<std::string>{"", " x"}));
}

TEST(ConfigTest, TheLastOfDuplicateKeysCounts) {
    Members members = sample;
    members.insert(members.begin(), {"macTeamID", "5"});
    EXPECT_EQ(decode(object(members)), decodedSample);
    members.push_back({"macTeamID", "\"OTHER\""});
    EXPECT_EQ(decode(object(members)).macTeamID, "OTHER");
}

TEST(ConfigTest, TheTopLevelIsAnObject) {
    for (const std::string& json : {std::string("[]"), std::string("\"{}\""), std::string("5"),
                                    std::string("null"), "[" + object(sample) + "]"}) {
        expectFailure(json, JsonErrorCode::typeMismatch, "The top level is not an object.");
    }
}

TEST(ConfigTest, NoBeginningOfAConfigurationIsOne) {
    const std::string whole = object(sample);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        expectCorrupt(whole.substr(0, length));
    }
}

TEST(ConfigTest, NothingMayFollowAConfiguration) {
    for (const std::string_view rest : {std::string_view("}"), std::string_view("{}"), std::string_view(","),
                                        std::string_view("\0", 1), std::string_view("\0x", 2)}) {
        expectCorrupt(object(sample) + std::string(rest));
    }
}

TEST(ConfigTest, AByteOrderMarkInFrontIsSkipped) {
    EXPECT_EQ(decode("\xEF\xBB\xBF" + object(sample)), decodedSample);
    expectCorrupt("\xEF\xBB" + object(sample));
    expectCorrupt("\xEF\xBB\xBF\xEF\xBB\xBF" + object(sample));
    expectCorrupt(object(sample) + "\xEF\xBB\xBF");
}

TEST(ConfigTest, OtherEncodingsAreCorrupt) {
    for (std::size_t i = 0; i < sample.size(); ++i) {
        const std::string open = isArray(sample[i]) ? "[\"" : "\"";
        const std::string close = isArray(sample[i]) ? "\"]" : "\"";
        for (const char* text : {"\xFF", "\xC3", "\xC0\x80", "\xED\xA0\x80", "\\ud800", "\xF5\x80\x80\x80"}) {
            expectCorrupt(withValue(i, open + text + close));
        }
    }
    std::string utf16 = "\xFF\xFE";
    for (const char c : object(sample)) {
        utf16 += {c, '\0'};
    }
    expectCorrupt(utf16);
}

TEST(ConfigTest, DeepNestingIsHarmless) {
    constexpr std::size_t depth = 1'000'000;
    const std::string deep = std::string(depth, '[') + std::string(depth, ']');
    Members members = sample;
    members.push_back({"more", deep});
    EXPECT_EQ(decode(object(members)), decodedSample);
    expectFailure(withValue(3, deep), JsonErrorCode::typeMismatch,
                  "The value of \"allowedHosts\" is not an array of strings.");
    expectCorrupt(std::string(depth, '['));
}

} // namespace

} // namespace InstallerCore
