#include "hosts/linux/LanguagesLinux.h"

#include "InstallerCore/support/Ascii.h"
#include "InstallerCore/support/Split.h"

#include <unicode/locid.h>
#include <unicode/numfmt.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>

namespace InstallerCore {

namespace {

std::string cased(std::string_view letters, char (*toCase)(char)) {
    std::string result(letters);
    std::ranges::transform(result, result.begin(), toCase);
    return result;
}

bool areLetters(std::string_view text) {
    return std::ranges::all_of(text, [](char c) {
        const char lower = Ascii::lowerCase(c);
        return lower >= 'a' && lower <= 'z';
    });
}

bool isLanguage(std::string_view text) {
    return (text.size() == 2 || text.size() == 3) && areLetters(text);
}

bool isTerritory(std::string_view text) {
    return (text.size() == 2 && areLetters(text)) ||
           (text.size() == 3 && std::ranges::all_of(text, Ascii::isDigit));
}

// The script that a modifier names; most modifiers name none.
std::string_view scriptOf(std::string_view modifier) {
    static constexpr std::array<std::array<std::string_view, 2>, 3> scripts{{
        {"cyrillic", "Cyrl"},
        {"devanagari", "Deva"},
        {"latin", "Latn"},
    }};
    const auto* const found = std::ranges::find(scripts, modifier, [](const auto& row) { return row[0]; });
    return found == scripts.end() ? std::string_view() : (*found)[1];
}

// Cuts the text at the first separator and returns what stood behind that.
std::string_view cutAt(char separator, std::string_view& text) {
    const std::size_t place = text.find(separator);
    if (place == std::string_view::npos) {
        return {};
    }
    const std::string_view rest = text.substr(place + 1);
    text = text.substr(0, place);
    return rest;
}

// LANGUAGE[_TERRITORY][.CODESET][@MODIFIER]
struct LocaleName {
    explicit LocaleName(std::string_view name) : language(name) {
        modifier = cutAt('@', language);
        cutAt('.', language);
        hasTerritory = language.find('_') != std::string_view::npos;
        territory = cutAt('_', language);
    }

    [[nodiscard]] bool isOfNoLanguage() const { return language == "C" || language == "POSIX"; }

    [[nodiscard]] std::optional<std::string> tag() const {
        if (!isLanguage(language) || (hasTerritory && !isTerritory(territory))) {
            return std::nullopt;
        }
        std::string result = cased(language, Ascii::lowerCase);
        if (const std::string_view script = scriptOf(modifier); !script.empty()) {
            result.append("-").append(script);
        }
        if (hasTerritory) {
            result.append("-").append(cased(territory, Ascii::upperCase));
        }
        return result;
    }

    std::string_view language;
    std::string_view territory;
    std::string_view modifier;
    bool hasTerritory = false;
};

std::string variable(const char* name) {
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nobody here sets variables
    return value == nullptr ? std::string() : value;
}

} // namespace

std::vector<std::string> languageTags(const LocaleVariables& variables) {
    const std::array names{&variables.all, &variables.messages, &variables.lang};
    const auto* const locale = std::ranges::find_if(names, [](const auto* name) { return !name->empty(); });
    if (locale == names.end() || LocaleName(**locale).isOfNoLanguage()) {
        return {};
    }
    std::vector<std::string> tags;
    const std::string& list = variables.language.empty() ? **locale : variables.language;
    for (const std::string_view name : split(list, ':', EmptyPieces::drop)) {
        const LocaleName parsed(name);
        if (parsed.isOfNoLanguage()) {
            break;
        }
        if (auto tag = parsed.tag()) {
            tags.push_back(*std::move(tag));
        }
    }
    return tags;
}

LanguagesLinux::LanguagesLinux()
    : preferred_(languageTags({.language = variable("LANGUAGE"),
                               .all = variable("LC_ALL"),
                               .messages = variable("LC_MESSAGES"),
                               .lang = variable("LANG")})) {}

std::string LanguagesLinux::percent(double fraction, const std::string& language) const {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::NumberFormat> format(
        icu::NumberFormat::createPercentInstance(icu::Locale(language.c_str()), status));
    if (U_FAILURE(status) != 0 || format == nullptr) {
        return {};
    }
    format->setMinimumFractionDigits(1);
    format->setMaximumFractionDigits(1);
    icu::UnicodeString formatted;
    std::string text;
    format->format(fraction, formatted).toUTF8String(text);
    return text;
}

} // namespace InstallerCore
