#include "InstallerCore/localization/InstallerLocalization.h"
#include "hosts/linux/LanguagesLinux.h"
#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <utf8.h>

#include <algorithm>
#include <functional>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore {

namespace {

using enum InstallerMessage;

constexpr char32_t ellipsis = U'\u2026';

const MessageCatalog& shipped() {
    static const MessageCatalog catalog = [] {
        Testing::TestPlatform test;
        test.resources.paths["installer-locales.json"] = SHIPPED_CATALOG;
        auto read = readMessageCatalog(test.resources, test.files);
        if (read.empty()) {
            throw std::runtime_error("the catalog cannot be read");
        }
        return read;
    }();
    return catalog;
}

// Each text of each language, as code points.
void forEachText(
    const std::function<void(const std::string& language, InstallerMessage, const std::u32string&)>& call) {
    for (const auto& [language, texts] : shipped()) {
        for (const InstallerMessage message : allInstallerMessages) {
            SCOPED_TRACE(language + ' ' + std::string(catalogKey(message)));
            const auto text = texts.find(std::string(catalogKey(message)));
            ASSERT_NE(text, texts.end());
            call(language, message, utf8::utf8to32(text->second));
        }
    }
}

std::size_t count(std::u32string_view text, std::u32string_view word) {
    std::size_t found = 0;
    for (auto place = text.find(word); place != std::u32string_view::npos;
         place = text.find(word, place + 1)) {
        ++found;
    }
    return found;
}

std::u32string english(InstallerMessage message) {
    return utf8::utf8to32(std::string(englishText(message)));
}

bool isIn(char32_t c, char32_t first, char32_t last) {
    return c >= first && c <= last;
}

TEST(ShippedCatalogTest, HasTheLanguagesOfTheProduct) {
    EXPECT_GE(shipped().size(), 34U);
    for (const char* tag : {"ar-SA", "de-DE", "en-US", "es-ES", "fa-IR", "fr-FR", "it-IT", "ja-JP", "ko-KR",
                            "nl-NL", "pl-PL", "pt-BR", "pt-PT", "ru-RU", "tr-TR", "zh-CN", "zh-TW"}) {
        EXPECT_TRUE(shipped().contains(tag)) << tag;
    }
}

// A bare language would be reached by an equal tag only, and so would one in another letter case.
TEST(ShippedCatalogTest, TagsAreALanguageAndARegion) {
    const std::regex form("[a-z]{2,3}-[A-Z]{2}");
    for (const auto& [language, texts] : shipped()) {
        EXPECT_TRUE(std::regex_match(language, form)) << language;
    }
}

TEST(ShippedCatalogTest, FileIsInOrderAndSaysNothingTwice) {
    std::vector<std::string> languages;
    std::vector<std::string> keys;
    const auto collect = [&](int depth, nlohmann::json::parse_event_t event, const nlohmann::json& parsed) {
        if (event == nlohmann::json::parse_event_t::key) {
            (depth == 1 ? languages : keys).push_back(parsed.get<std::string>());
        }
        return true;
    };
    ASSERT_TRUE(nlohmann::json::parse(Testing::readFile(SHIPPED_CATALOG), collect).is_object());

    ASSERT_EQ(languages.size(), shipped().size());
    EXPECT_TRUE(std::ranges::is_sorted(languages));
    ASSERT_EQ(keys.size(), languages.size() * allInstallerMessages.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        EXPECT_EQ(keys[i], catalogKey(allInstallerMessages.at(i % allInstallerMessages.size())));
    }
}

TEST(ShippedCatalogTest, EachLanguageHasEveryTextAndNoOther) {
    for (const auto& [language, texts] : shipped()) {
        EXPECT_EQ(texts.size(), allInstallerMessages.size()) << language;
        for (const InstallerMessage message : allInstallerMessages) {
            EXPECT_TRUE(texts.contains(std::string(catalogKey(message)))) << language;
        }
    }
}

TEST(ShippedCatalogTest, EnglishIsAsBuiltIn) {
    for (const InstallerMessage message : allInstallerMessages) {
        EXPECT_EQ(shipped().at("en-US").at(std::string(catalogKey(message))), englishText(message));
    }
}

TEST(ShippedCatalogTest, EveryOtherLanguageSaysItInItsOwnWords) {
    forEachText([](const std::string& language, InstallerMessage message, const std::u32string& text) {
        EXPECT_EQ(text == english(message), language == "en-US");
    });
}

TEST(ShippedCatalogTest, NoTwoMessagesOfALanguageAreTheSame) {
    for (const auto& [language, texts] : shipped()) {
        std::set<std::string> seen;
        for (const auto& [key, text] : texts) {
            EXPECT_TRUE(seen.insert(text).second) << language << ' ' << key;
        }
    }
}

TEST(ShippedCatalogTest, NameOfTheProductStaysAsItIs) {
    forEachText([](const std::string&, InstallerMessage message, const std::u32string& text) {
        constexpr std::u32string_view name = U"Kavio";
        EXPECT_EQ(count(text, name), count(english(message), name));
        for (auto place = text.find(name); place != std::u32string::npos;
             place = text.find(name, place + 1)) {
            // No ending of an inflection; the particles of Japanese and Korean follow at once.
            const char32_t next = place + name.size() < text.size() ? text[place + name.size()] : U'.';
            EXPECT_FALSE(isIn(next, U'a', U'z') || isIn(next, U'\u00C0', U'\u04FF'));
        }
        std::u32string lower = text;
        std::ranges::transform(lower, lower.begin(),
                               [](char32_t c) { return isIn(c, U'A', U'Z') ? c + 32 : c; });
        EXPECT_EQ(count(lower, U"kavio"), count(text, name)) << "in another letter case";
    });
}

TEST(ShippedCatalogTest, EllipsisEndsWhatItEndsInEnglish) {
    forEachText([](const std::string&, InstallerMessage message, const std::u32string& text) {
        EXPECT_EQ(text.ends_with(ellipsis), english(message).ends_with(ellipsis));
        EXPECT_EQ(count(text, U"\u2026"), text.ends_with(ellipsis) ? 1U : 0U);
        EXPECT_EQ(count(text, U".."), 0U);
    });
}

TEST(ShippedCatalogTest, SentencesEndAsTheLanguageEndsThem) {
    forEachText([](const std::string& language, InstallerMessage message, const std::u32string& text) {
        const bool isSentence = english(message).ends_with(U'.');
        const bool isIdeographic = language == "ja-JP" || language.starts_with("zh-");
        const char32_t stop = language == "hi-IN" ? U'\u0964' : isIdeographic ? U'\u3002' : U'.';
        EXPECT_EQ(text.ends_with(stop), isSentence && language != "th-TH"); // Thai has no full stop
    });
}

TEST(ShippedCatalogTest, NothingInvisibleStandsInATextOrAtItsEnds) {
    forEachText([](const std::string& language, InstallerMessage, const std::u32string& text) {
        ASSERT_FALSE(text.empty());
        const auto isBlank = [](char32_t c) {
            return c == U' ' || c == U'\u00A0' || c == U'\u3000' || isIn(c, U'\u2000', U'\u200A') ||
                   c == U'\u202F';
        };
        EXPECT_FALSE(isBlank(text.front()) || isBlank(text.back()));
        for (std::size_t i = 0; i < text.size(); ++i) {
            const char32_t c = text[i];
            EXPECT_FALSE(i > 0 && isBlank(c) && isBlank(text[i - 1])) << "two blanks";
            EXPECT_FALSE(c < U' ' || isIn(c, U'\u007F', U'\u009F') || c == U'\u00AD')
                << "a control character";
            EXPECT_FALSE(isIn(c, U'\u200B', U'\u200F') && !(c == U'\u200C' && language == "fa-IR"));
            EXPECT_FALSE(isIn(c, U'\u2028', U'\u202E') || isIn(c, U'\u2060', U'\u206F'));
            EXPECT_FALSE(c == U'\uFEFF' || c == U'\uFFFD');
        }
    });
}

TEST(ShippedCatalogTest, QuotesAndApostrophesAreTypographic) {
    forEachText([](const std::string&, InstallerMessage, const std::u32string& text) {
        EXPECT_EQ(text.find_first_of(U"\"'`"), std::u32string::npos);
    });
}

TEST(ShippedCatalogTest, ButtonIsNamedAsItIsLabelled) {
    for (const auto& [language, texts] : shipped()) {
        const auto& sentence = texts.at(std::string(catalogKey(running_error)));
        const auto& label = texts.at(std::string(catalogKey(retry)));
        EXPECT_NE(sentence.find(label), std::string::npos) << language << ": " << label;
    }
}

TEST(ShippedCatalogTest, EveryTextIsInTheScriptOfItsLanguage) {
    const struct {
        const char* language;
        char32_t first;
        char32_t last;
    } scripts[] = {
        {"ar-SA", U'\u0600', U'\u06FF'}, {"bg-BG", U'\u0400', U'\u04FF'}, {"el-GR", U'\u0370', U'\u03FF'},
        {"fa-IR", U'\u0600', U'\u06FF'}, {"hi-IN", U'\u0900', U'\u097F'}, {"ja-JP", U'\u3040', U'\u9FFF'},
        {"ko-KR", U'\uAC00', U'\uD7A3'}, {"ru-RU", U'\u0400', U'\u04FF'}, {"sr-RS", U'\u0400', U'\u04FF'},
        {"th-TH", U'\u0E00', U'\u0E7F'}, {"uk-UA", U'\u0400', U'\u04FF'}, {"zh-CN", U'\u4E00', U'\u9FFF'},
        {"zh-TW", U'\u4E00', U'\u9FFF'},
    };

    forEachText([&](const std::string& language, InstallerMessage, const std::u32string& text) {
        const auto* const row =
            std::ranges::find(scripts, language, [](const auto& script) { return script.language; });
        const auto isOfScript = [&](char32_t c) {
            return row == std::end(scripts) ? isIn(c, U'a', U'z') : isIn(c, row->first, row->last);
        };
        EXPECT_TRUE(std::ranges::any_of(text, isOfScript));
    });
}

// Letters that a neighbouring language has and this one has not.
TEST(ShippedCatalogTest, LettersAreThoseOfTheLanguage) {
    const struct {
        const char* language;
        const char32_t* foreign;
    } rows[] = {
        {"bg-BG", U"\u044B\u044D\u0451\u0456"},
        {"da-DK", U"\u00E4\u00F6"},
        {"fa-IR", U"\u064A\u0643\u0629"},
        {"nb-NO", U"\u00E4\u00F6"},
        {"pt-BR", U"\u00F1\u00BF\u00A1"},
        {"ro-RO", U"\u015F\u0163\u00E3"}, // a cedilla for the comma below
        {"ru-RU", U"\u0456\u0457\u0454"},
        {"sr-RS", U"\u0439\u044F\u044E\u0449\u044C\u044B"},
        {"sv-SE", U"\u00E6\u00F8"},
        {"uk-UA", U"\u044B\u044D\u0451\u044A"},
        {"zh-CN", U"\u8ACB\u7121\u6A94\u8F09\u88DD\u9A57\u61C9"},
        {"zh-TW", U"\u8BF7\u65E0\u8F7D\u8FD9\u88C5\u9A8C\u5E94"},
    };

    for (const auto& row : rows) {
        ASSERT_TRUE(shipped().contains(row.language));
        for (const auto& [key, text] : shipped().at(row.language)) {
            EXPECT_EQ(utf8::utf8to32(text).find_first_of(row.foreign), std::u32string::npos)
                << row.language << ' ' << key << ": " << text;
        }
    }
}

TEST(ShippedCatalogTest, WhatIsWrittenFromRightToLeftIsLaidOutSo) {
    const Testing::TestPlatform test;
    forEachText([&](const std::string& language, InstallerMessage, const std::u32string& text) {
        const bool written =
            std::ranges::any_of(text, [](char32_t c) { return isIn(c, U'\u0590', U'\u08FF'); });
        EXPECT_EQ(InstallerLocalization(shipped(), {language}, test.platform).isRTL(), written);
    });
}

TEST(ShippedCatalogTest, EveryLanguageIsReachedAndWritesPercentages) {
    Testing::TestPlatform test;
    const LanguagesLinux languages;
    for (const auto& [language, texts] : shipped()) {
        EXPECT_EQ(InstallerLocalization(shipped(), {language}, test.platform).language, language);
        const std::string half = languages.percent(0.5, language);
        EXPECT_GE(utf8::distance(half.begin(), half.end()), 5) << language << ": " << half;
    }
}

} // namespace

} // namespace InstallerCore
