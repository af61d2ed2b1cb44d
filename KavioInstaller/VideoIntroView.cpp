#include "KavioInstaller/VideoIntroView.h"

#include "InstallerCore/support/Ascii.h"

#include <algorithm>

namespace InstallerCore {

std::string VideoIntroView::resourceName(const std::vector<std::string>& preferredLanguages) {
    const std::string tag = preferredLanguages.empty() ? "en" : preferredLanguages.front();
    const std::size_t begin = std::min(tag.find_first_not_of("-_"), tag.size());
    std::string language = tag.substr(begin, tag.find_first_of("-_", begin) - begin);
    std::transform(language.begin(), language.end(), language.begin(), Ascii::lowerCase);
    return language == "ja" ? "intro-ja" : "intro-en";
}

VideoIntroView VideoIntroView::make(const std::vector<std::string>& preferredLanguages,
                                    const Resources& resources) {
    return {.fallback = {}, .video = resources.find(resourceName(preferredLanguages), "mp4")};
}

} // namespace InstallerCore
