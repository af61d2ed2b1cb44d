#include "InstallerCore/support/Uuid.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

namespace InstallerCore {

namespace {

TEST(UuidTest, HasTheFormOfVersionFour) {
    const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    for (int i = 0; i < 100; ++i) {
        const std::string uuid = randomUuid();
        EXPECT_TRUE(std::regex_match(uuid, form)) << uuid;
    }
}

TEST(UuidTest, AllOtherDigitsTakeEveryValue) {
    constexpr std::size_t version = 14;
    constexpr std::size_t variant = 19;
    std::set<std::string> uuids;
    std::vector<std::set<char>> digits(36);
    for (int i = 0; i < 1000; ++i) {
        const std::string uuid = randomUuid();
        uuids.insert(uuid);
        for (std::size_t place = 0; place < uuid.size(); ++place) {
            digits.at(place).insert(uuid[place]);
        }
    }
    EXPECT_EQ(uuids.size(), 1000U);
    for (std::size_t place = 0; place < digits.size(); ++place) {
        const bool hyphen = place == 8 || place == 13 || place == 18 || place == 23;
        const std::size_t values = hyphen || place == version ? 1 : place == variant ? 4 : 16;
        EXPECT_EQ(digits[place].size(), values) << "place " << place;
    }
}

TEST(UuidTest, FormIsRecognisedInEitherCaseAndAnyVersion) {
    for (const char* text :
         {"00000000-0000-0000-0000-000000000000", "0f8fad5b-d9cb-469f-a165-70867728950e",
          "0F8FAD5B-D9CB-469F-A165-70867728950E", "0f8FAD5b-d9cb-169f-0165-ffffffffffff"}) {
        EXPECT_TRUE(isUuid(text)) << text;
    }
    EXPECT_TRUE(isUuid(randomUuid()));
}

TEST(UuidTest, EveryOtherCharacterAtEveryPlaceIsRefused) {
    const std::string uuid = "0f8fad5b-d9cb-469f-a165-70867728950e";
    for (std::size_t place = 0; place < uuid.size(); ++place) {
        for (const char c : {'g', 'G', '-', '0', ' ', '/', ':', '@', '`', '\0', '\xE9'}) {
            std::string text = uuid;
            text[place] = c;
            const bool isHyphen = uuid[place] == '-';
            EXPECT_EQ(isUuid(text), isHyphen ? c == '-' : c == '0') << place << ' ' << c;
        }
        EXPECT_FALSE(isUuid(uuid.substr(0, place)));
        EXPECT_FALSE(isUuid(std::string(uuid).erase(place, 1)));
        EXPECT_FALSE(isUuid(std::string(uuid).insert(place, 1, '0')));
    }
    EXPECT_FALSE(isUuid(uuid + "0"));
    EXPECT_FALSE(isUuid(uuid + "\n"));
    EXPECT_FALSE(isUuid("{" + uuid + "}"));
}

} // namespace

} // namespace InstallerCore
