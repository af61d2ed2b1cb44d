#include "InstallerCore/localization/InstallerLocalization.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

using Texts = std::vector<std::string>;

struct Row {
    Texts preferred;
    std::set<std::string> supported;
    std::string expected;
};

void expectRows(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        EXPECT_EQ(InstallerLocalization::resolve(row.preferred, row.supported), row.expected)
            << testing::PrintToString(row.preferred) << " of " << testing::PrintToString(row.supported);
    }
}

const std::set<std::string> shipped{"ar-SA", "de-DE", "en-US", "es-ES", "fa-IR", "fi-FI", "fil-PH",
                                    "fr-FR", "ja-JP", "pt-BR", "pt-PT", "zh-CN", "zh-TW"};

TEST(ResolveLanguageTest, NothingPreferredIsAmericanEnglish) {
    expectRows({
        {{}, shipped, "en-US"},
        {{}, {}, "en-US"},
        {{}, {"de-DE"}, "en-US"}, // not even when that is not there
    });
}

TEST(ResolveLanguageTest, NothingUsableIsAmericanEnglish) {
    expectRows({
        {{"xx-XX"}, shipped, "en-US"},
        {{"xx"}, {"de-DE", "fr-FR"}, "en-US"},
        {{""}, shipped, "en-US"},
        {{"-"}, shipped, "en-US"},
        {{"_", "--", "__-"}, {"de-DE"}, "en-US"},
        {{"*", "\xC3\xA9", " "}, shipped, "en-US"},
        {{"de"}, {}, "en-US"},
    });
}

TEST(ResolveLanguageTest, EqualTagsMeetInAnySpelling) {
    expectRows({
        {{"de-DE"}, shipped, "de-DE"},
        {{"DE_de"}, shipped, "de-DE"},
        {{"ZH-cn"}, {"zh-CN"}, "zh-CN"},
        {{"de-DE"}, {"De-dE"}, "De-dE"}, // as the catalog spells it
        {{"fr"}, {"fr", "fr-CA"}, "fr"},
        {{"FR"}, {"fr-CA", "fr"}, "fr"},
        {{"zh-Hant-HK"}, {"zh-Hant-HK", "zh-TW"}, "zh-Hant-HK"},
        {{"pt-AO"}, {"pt-AO", "pt-BR"}, "pt-AO"},
        {{"en-GB"}, {"en-AU", "en-GB", "en-US"}, "en-GB"},
    });
}

// What is preferred is rewritten; what is supported is not.
TEST(ResolveLanguageTest, UnderscoreOfACatalogIsNoHyphen) {
    expectRows({
        {{"de_DE"}, {"de_DE"}, "en-US"},
        {{"de-DE"}, {"de_DE"}, "en-US"},
    });
}

TEST(ResolveLanguageTest, FirstOfTheSameLanguageServesItsOtherRegions) {
    expectRows({
        {{"en_GB"}, {"en-US", "ja"}, "en-US"},
        {{"en_GB"}, {"en-AU", "en-US"}, "en-AU"},
        {{"de"}, shipped, "de-DE"},
        {{"de-AT"}, shipped, "de-DE"},
        {{"sr-Latn-RS"}, {"sr-RS"}, "sr-RS"},
        {{"ar-EG"}, shipped, "ar-SA"},
        {{"de-AT"}, {"de-a", "de-B", "DE-Z"}, "DE-Z"}, // code points: capitals first
        {{"de-AT"}, {"de-a", "de-B"}, "de-B"},
        {{"-de-AT"}, shipped, "de-DE"}, // empty pieces are none
        {{"_de"}, shipped, "de-DE"},
    });
}

TEST(ResolveLanguageTest, LanguagesAreComparedWhole) {
    expectRows({
        {{"fi"}, {"fil-PH"}, "en-US"},
        {{"fil"}, {"fi-FI"}, "en-US"},
        {{"f"}, shipped, "en-US"},
        {{"fil"}, shipped, "fil-PH"},
        {{"fi-SE"}, shipped, "fi-FI"},
    });
}

TEST(ResolveLanguageTest, BareLanguageOfACatalogIsReachedByAnEqualTagOnly) {
    expectRows({
        {{"fr-CA", "de-DE"}, {"de-DE", "fr"}, "de-DE"},
        {{"fr-CA"}, {"fr"}, "en-US"},
    });
}

TEST(ResolveLanguageTest, ChineseGoesByScriptThenByRegion) {
    expectRows({
        {{"zh-Hant-HK"}, shipped, "zh-TW"},
        {{"zh-HK"}, shipped, "zh-TW"},
        {{"zh-MO"}, shipped, "zh-TW"},
        {{"zh_TW"}, shipped, "zh-TW"},
        {{"zh-Hant"}, shipped, "zh-TW"},
        {{"zh-Hant-CN"}, shipped, "zh-TW"},
        {{"zh-SG"}, shipped, "zh-CN"},
        {{"zh"}, shipped, "zh-CN"},
        {{"zh-Hans"}, shipped, "zh-CN"},
        {{"zh-Hans-HK"}, shipped, "zh-CN"},
        {{"zh-HK-Hans"}, shipped, "zh-CN"},
        {{"zh-Hans-Hant"}, shipped, "zh-TW"},
        {{"zh-yue-HK"}, shipped, "zh-TW"},
        {{"zh-Hanto"}, shipped, "zh-CN"},
    });
}

TEST(ResolveLanguageTest, ChineseCandidateMustBeThereAsSpelled) {
    expectRows({
        {{"zh-HK"}, {"zh-CN"}, "en-US"},
        {{"zh-SG"}, {"zh-TW"}, "en-US"},
        {{"zh-HK"}, {"zh-tw"}, "en-US"},
        {{"zh-TW"}, {"zh-tw"}, "zh-tw"}, // an equal tag
        {{"zh-HK", "de"}, {"zh-CN", "de-DE"}, "de-DE"},
    });
}

TEST(ResolveLanguageTest, PortugueseIsBrazilianUnlessTheSecondPieceSaysPortugal) {
    expectRows({
        {{"pt"}, shipped, "pt-BR"},
        {{"pt-AO"}, shipped, "pt-BR"},
        {{"pt_PT"}, shipped, "pt-PT"},
        {{"PT-pt-x"}, shipped, "pt-PT"},
        {{"pt--PT-x"}, shipped, "pt-PT"},
        {{"pt-Latn-PT"}, shipped, "pt-BR"},
        {{"pt"}, {"pt-PT"}, "en-US"},
        {{"pt-PT-x"}, {"pt-BR"}, "en-US"},
        {{"pt", "fr"}, {"pt-PT", "fr-FR"}, "fr-FR"},
    });
}

TEST(ResolveLanguageTest, FirstPreferredThatAnythingServesDecides) {
    expectRows({
        {{"xx", "", "de-AT", "fr-FR"}, shipped, "de-DE"},
        {{"fr-FR", "de-DE"}, shipped, "fr-FR"},
        {{"de-CH", "de-DE"}, {"de-AT", "de-DE"}, "de-AT"},
        {{"en-GB", "ja-JP"}, shipped, "en-US"},
    });
}

// Whatever is asked for: a supported tag, or the one that stands for all.
TEST(ResolveLanguageTest, ResultIsSupportedOrAmericanEnglish) {
    const Texts pieces{"zh", "pt", "en", "de", "hant", "HANS", "tw", "PT", "Latn", "", "_", "\xFF"};
    const std::vector<std::set<std::string>> catalogs{
        {}, {"en-US"}, {"zh-TW", "pt-BR"}, {"", "-", "de"}, shipped};
    for (const auto& first : pieces) {
        for (const auto& second : pieces) {
            for (const auto& third : pieces) {
                const std::string tag = first + '-' + second + '_' + third;
                for (const auto& catalog : catalogs) {
                    const auto result = InstallerLocalization::resolve({tag}, catalog);
                    EXPECT_TRUE(result == "en-US" || catalog.contains(result)) << tag << " gives " << result;
                }
            }
        }
    }
}

} // namespace

} // namespace InstallerCore
