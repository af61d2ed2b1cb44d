#include "InstallerCore/localization/InstallerLocalization.h"

#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace InstallerCore {

namespace {

using enum InstallerMessage;

class InstallerLocalizationTest : public testing::Test {
protected:
    [[nodiscard]] InstallerLocalization localization(const MessageCatalog& catalog,
                                                     const std::vector<std::string>& preferred) {
        return {catalog, preferred, test_.platform};
    }

    [[nodiscard]] std::string textOf(const MessageCatalog& catalog, const std::string& language,
                                     InstallerMessage message) {
        return localization(catalog, {language}).text(message);
    }

    Testing::TestPlatform test_;
};

TEST_F(InstallerLocalizationTest, KeepsTheCatalogAndChoosesItsLanguage) {
    const MessageCatalog catalog{{"en-US", {}}, {"pt-BR", {{"common_retry", "Tentar de novo"}}}};
    const auto strings = localization(catalog, {"xx", "pt"});
    EXPECT_EQ(strings.catalog, catalog);
    EXPECT_EQ(strings.language, "pt-BR");
    EXPECT_EQ(localization(catalog, {}).language, "en-US");
    EXPECT_EQ(localization({}, {"pt"}).language, "en-US");
}

TEST_F(InstallerLocalizationTest, TextIsOfTheLanguageThenOfEnglishThenBuiltIn) {
    const MessageCatalog catalog{
        {"de-DE", {{"common_retry", "Wiederholen"}}},
        {"en-US", {{"common_retry", "Again"}, {"desktop_installer_paused", "Held."}}}};
    EXPECT_EQ(textOf(catalog, "de", retry), "Wiederholen");
    EXPECT_EQ(textOf(catalog, "de", paused), "Held.");
    EXPECT_EQ(textOf(catalog, "de", opening), "Opening Kavio\u2026");
    EXPECT_EQ(textOf(catalog, "en", retry), "Again");
    EXPECT_EQ(textOf(catalog, "xx", paused), "Held.");
}

TEST_F(InstallerLocalizationTest, EmptyTextIsAText) {
    EXPECT_EQ(
        textOf({{"de-DE", {{"common_retry", ""}}}, {"en-US", {{"common_retry", "Again"}}}}, "de", retry), "");
    EXPECT_EQ(textOf({{"de-DE", {}}, {"en-US", {{"common_retry", ""}}}}, "de", retry), "");
}

TEST_F(InstallerLocalizationTest, CatalogKeysAreExact) {
    const MessageCatalog catalog{
        {"en-US", {{"retry", "a"}, {"desktop_installer_retry", "b"}, {"Common_retry", "c"}}}};
    EXPECT_EQ(textOf(catalog, "en", retry), "Retry");
    // English of another spelling is reached as a language, never as the one behind the others.
    EXPECT_EQ(textOf({{"en-us", {{"common_retry", "x"}}}}, "en-US", retry), "x");
    EXPECT_EQ(textOf({{"de-DE", {}}, {"en-us", {{"common_retry", "x"}}}}, "de", retry), "Retry");
}

TEST_F(InstallerLocalizationTest, EverythingIsBuiltInWithoutACatalog) {
    const auto strings = localization({}, {"de-DE"});
    for (const InstallerMessage message : allInstallerMessages) {
        EXPECT_EQ(strings.text(message), englishText(message));
    }
}

TEST_F(InstallerLocalizationTest, PercentIsAskedForInTheLanguage) {
    std::string asked;
    test_.languages.onPercent = [&](double fraction, const std::string& language) {
        asked = language + ' ' + std::to_string(fraction);
        return std::string("some");
    };
    EXPECT_EQ(localization({{"de-DE", {}}}, {"de"}).percent(0.5), "some");
    EXPECT_EQ(asked, "de-DE 0.500000");
    EXPECT_EQ(localization({}, {"de"}).percent(0.25), "some");
    EXPECT_EQ(asked, "en-US 0.250000");
}

TEST_F(InstallerLocalizationTest, PercentIsEmptyWhenFormattingFails) {
    test_.languages.onPercent = [](double, const std::string&) { return std::string(); };
    EXPECT_EQ(localization({}, {}).percent(0.5), "");
}

TEST_F(InstallerLocalizationTest, OnlyTwoLanguagesRunFromRightToLeft) {
    const struct {
        const char* tag;
        bool rightToLeft;
    } rows[] = {
        {"ar-SA", true}, {"fa-IR", true},  {"ar", false},    {"ar-EG", false}, {"ar-sa", false},
        {"fa", false},   {"fa-AF", false}, {"he-IL", false}, {"ur-PK", false}, {"en-US", false},
    };

    for (const auto& row : rows) {
        const auto strings = localization({{row.tag, {}}}, {row.tag});
        ASSERT_EQ(strings.language, row.tag);
        EXPECT_EQ(strings.isRTL(), row.rightToLeft) << row.tag;
    }
    EXPECT_TRUE(localization({{"ar-SA", {}}}, {"ar-EG"}).isRTL()); // served by it
    EXPECT_FALSE(localization({}, {"ar-SA"}).isRTL());             // English then
}

TEST_F(InstallerLocalizationTest, CopyIsAsGoodAsTheOriginal) {
    auto copy = localization({}, {});
    copy = localization({{"fa-IR", {{"common_retry", "x"}}}}, {"fa"});
    EXPECT_TRUE(copy.isRTL());
    EXPECT_EQ(copy.text(retry), "x");
    EXPECT_EQ(copy.percent(0.123), "12.3%");
}

} // namespace

} // namespace InstallerCore
