#include "hosts/linux/LanguagesLinux.h"

#include "tests/support/EnvironmentVariable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

using Tags = std::vector<std::string>;

TEST(LanguagesLinuxTest, LocaleNamesBecomeTags) {
    const struct {
        const char* name;
        Tags tags;
    } rows[] = {
        {"en_US.UTF-8", {"en-US"}},
        {"zh_TW.UTF-8", {"zh-TW"}},
        {"zh_CN.GB18030", {"zh-CN"}},
        {"pt_PT", {"pt-PT"}},
        {"pt_PT.UTF-8@euro", {"pt-PT"}},
        {"de_DE@euro", {"de-DE"}},
        {"de", {"de"}},
        {"de.UTF-8", {"de"}},
        {"fil_PH", {"fil-PH"}},
        {"es_419", {"es-419"}},
        {"DE_de", {"de-DE"}},
        {"sr_RS@latin", {"sr-Latn-RS"}},
        {"sr_RS.UTF-8@latin", {"sr-Latn-RS"}},
        {"sr@latin", {"sr-Latn"}},
        {"uz_UZ@cyrillic", {"uz-Cyrl-UZ"}},
        {"ks_IN@devanagari", {"ks-Deva-IN"}},
        {"ca_ES@valencia", {"ca-ES"}},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(languageTags({.lang = row.name}), row.tags) << row.name;
    }
}

TEST(LanguagesLinuxTest, NoLanguageIsPreferredInTheLocalesWithoutOne) {
    for (const char* name : {"C", "POSIX", "C.UTF-8", "C.utf8", "POSIX.UTF-8", ""}) {
        EXPECT_EQ(languageTags({.lang = name}), Tags()) << name;
        EXPECT_EQ(languageTags({.language = "de:fr", .lang = name}), Tags()) << name;
    }
    EXPECT_EQ(languageTags({}), Tags());
    EXPECT_EQ(languageTags({.language = "de"}), Tags());
}

TEST(LanguagesLinuxTest, WhatIsNoLocaleNameIsIgnored) {
    for (const char* name : {"x",
                             "german",
                             "12",
                             "d3",
                             "de_",
                             "_DE",
                             "de_D",
                             "de_DEU",
                             "de_12",
                             "de_1234",
                             "de_DE_x",
                             ".UTF-8",
                             "@latin",
                             "de-DE",
                             " de",
                             "de ",
                             "../../etc/passwd",
                             "c_",
                             "\xC3\xA4\xC3\xB6",
                             "\xFF\xFE",
                             "-",
                             "_",
                             "d\xC3\xA4_DE",
                             "c"}) {
        EXPECT_EQ(languageTags({.lang = name}), Tags()) << name;
        EXPECT_EQ(languageTags({.language = std::string("fr:") + name + ":it", .lang = "en_US"}),
                  (Tags{"fr", "it"}))
            << name;
    }
}

TEST(LanguagesLinuxTest, VariablesAreWeighedAsGettextWeighsThem) {
    const struct {
        LocaleVariables variables;
        Tags tags;
    } rows[] = {
        {{.lang = "de_DE"}, {"de-DE"}},
        {{.messages = "fr_FR", .lang = "de_DE"}, {"fr-FR"}},
        {{.all = "it_IT", .messages = "fr_FR", .lang = "de_DE"}, {"it-IT"}},
        {{.all = "C", .messages = "fr_FR", .lang = "de_DE"}, {}},
        {{.messages = "C", .lang = "de_DE"}, {}},
        {{.all = "garbage", .lang = "de_DE"}, {}}, // it is set, so it decides
        {{.language = "pt_BR:pt:es", .lang = "de_DE"}, {"pt-BR", "pt", "es"}},
        {{.language = "pt_BR", .all = "it_IT"}, {"pt-BR"}},
        {{.language = "pt_BR", .messages = "fr_FR"}, {"pt-BR"}},
        {{.language = "pt_BR", .all = "C.UTF-8", .lang = "de_DE"}, {}},
        {{.language = "garbage", .lang = "de_DE"}, {}},
        {{.language = ":", .lang = "de_DE"}, {}},
        {{.language = ":de::fr_FR.UTF-8:", .lang = "en_US"}, {"de", "fr-FR"}},
        {{.language = "de:C:fr", .lang = "en_US"}, {"de"}},
        {{.language = "de:POSIX:fr", .lang = "en_US"}, {"de"}},
        {{.language = "de:de:de_AT", .lang = "en_US"}, {"de", "de", "de-AT"}},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(languageTags(row.variables), row.tags)
            << row.variables.language << '|' << row.variables.all << '|' << row.variables.messages << '|'
            << row.variables.lang;
    }
}

TEST(LanguagesLinuxTest, EnvironmentIsReadOnce) {
    const Testing::EnvironmentVariable language("LANGUAGE", "pt_BR:pt");
    const Testing::EnvironmentVariable all("LC_ALL", "");
    const Testing::EnvironmentVariable messages("LC_MESSAGES", "fr_FR.UTF-8");
    const Testing::EnvironmentVariable lang("LANG", "de_DE.UTF-8");
    const LanguagesLinux languages;
    EXPECT_EQ(languages.preferred(), (Tags{"pt-BR", "pt"}));

    const Testing::EnvironmentVariable changed("LANGUAGE", "");
    EXPECT_EQ(languages.preferred(), (Tags{"pt-BR", "pt"}));
    EXPECT_EQ(LanguagesLinux().preferred(), Tags{"fr-FR"});
    const Testing::EnvironmentVariable none("LC_MESSAGES", "");
    EXPECT_EQ(LanguagesLinux().preferred(), Tags{"de-DE"});
    const Testing::EnvironmentVariable first("LC_ALL", "POSIX");
    EXPECT_EQ(LanguagesLinux().preferred(), Tags());
}

TEST(LanguagesLinuxTest, PercentagesHaveOneFractionDigit) {
    const LanguagesLinux languages;

    const struct {
        double fraction;
        const char* text;
    } rows[] = {
        {0, "0.0%"},        {0.5, "50.0%"},     {0.123, "12.3%"},  {1, "100.0%"},
        {0.12345, "12.3%"}, {0.9999, "100.0%"}, {0.0004, "0.0%"},  {0.00125, "0.1%"},
        {12.5, "1,250.0%"}, {-0.5, "-50.0%"},   {0.1236, "12.4%"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(languages.percent(row.fraction, "en-US"), row.text) << row.fraction;
    }
}

TEST(LanguagesLinuxTest, PercentagesAreWrittenAsTheLanguageWritesThem) {
    const LanguagesLinux languages;

    const struct {
        const char* language;
        const char* text;
    } rows[] = {
        {"de-DE", "12,3\u00A0%"},
        {"sv-SE", "12,3\u00A0%"},
        {"it-IT", "12,3%"},
        {"ja-JP", "12.3%"},
        {"zh-TW", "12.3%"},
        {"pt-BR", "12,3%"},
        {"tr-TR", "%12,3"},
        {"fa-IR", "\u06F1\u06F2\u066B\u06F3\u066A"},
        {"ar-SA", "\u0661\u0662\u066B\u0663\u066A\u061C"},
        {"EN-us", "12.3%"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(languages.percent(0.123, row.language), row.text) << row.language;
    }
}

TEST(LanguagesLinuxTest, AnyTagAndAnyNumberGiveSomeText) {
    const LanguagesLinux languages;
    for (const char* language : {"", "xx", "xx-XX", "english", "!", "en-US", "ar-SA"}) {
        EXPECT_FALSE(languages.percent(0.5, language).empty()) << language;
    }
    for (const double fraction : {std::nan(""), HUGE_VAL, -HUGE_VAL, std::numeric_limits<double>::max()}) {
        EXPECT_FALSE(languages.percent(fraction, "en-US").empty()) << fraction;
    }
}

// What the process's own locale says is nobody's business here.
TEST(LanguagesLinuxTest, LocaleOfTheEnvironmentDoesNotChangeTheLanguageAskedFor) {
    const Testing::EnvironmentVariable all("LC_ALL", "de_DE.UTF-8");
    EXPECT_EQ(LanguagesLinux().percent(0.123, "en-US"), "12.3%");
}

} // namespace

} // namespace InstallerCore
