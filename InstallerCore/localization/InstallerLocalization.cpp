#include "InstallerCore/localization/InstallerLocalization.h"

#include "InstallerCore/platform/Languages.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace InstallerCore {

namespace {

constexpr const char* fallbackLanguage = "en-US";

std::set<std::string> languagesOf(const MessageCatalog& catalog) {
    std::set<std::string> tags;
    for (const auto& [tag, texts] : catalog) {
        tags.insert(tag);
    }
    return tags;
}

std::optional<std::string> find(const MessageCatalog& catalog, const std::string& language,
                                std::string_view key) {
    const auto texts = catalog.find(language);
    if (texts == catalog.end()) {
        return std::nullopt;
    }
    const auto text = texts->second.find(std::string(key));
    return text == texts->second.end() ? std::nullopt : std::optional(text->second);
}

} // namespace

InstallerLocalization::InstallerLocalization(MessageCatalog texts,
                                             const std::vector<std::string>& preferredLanguages,
                                             const Platform& platform)
    : catalog(std::move(texts)),
      language(resolve(preferredLanguages, languagesOf(catalog))),
      languages_(&platform.languages) {}

const InstallerLocalization& InstallerLocalization::live(const Platform& platform) {
    static const InstallerLocalization instance(readMessageCatalog(platform.resources, platform.files),
                                                platform.languages.preferred(), platform);
    return instance;
}

std::string InstallerLocalization::text(InstallerMessage message) const {
    const std::string_view key = catalogKey(message);
    for (const std::string& candidate : {language, std::string(fallbackLanguage)}) {
        if (auto text = find(catalog, candidate, key)) {
            return *std::move(text);
        }
    }
    return std::string(englishText(message));
}

std::string InstallerLocalization::percent(double fraction) const {
    return languages_->percent(fraction, language);
}

bool InstallerLocalization::isRTL() const {
    return language == "ar-SA" || language == "fa-IR";
}

} // namespace InstallerCore
