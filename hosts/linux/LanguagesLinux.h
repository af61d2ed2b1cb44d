#pragma once

#include "InstallerCore/platform/Languages.h"

#include <string>
#include <vector>

namespace InstallerCore {

// The environment variables that say what the user reads; empty when unset, which means the same.
struct LocaleVariables {
    std::string language; // LANGUAGE
    std::string all;      // LC_ALL
    std::string messages; // LC_MESSAGES
    std::string lang;     // LANG
};

// The language tags of the locale names, weighed as gettext does: the first of LC_ALL, LC_MESSAGES and LANG
// that is set names the locale, and a list in LANGUAGE, separated by colons, takes its place. In the "C" or
// "POSIX" locale nothing is preferred, and either of them ends the list.
//
//     zh_TW.UTF-8  zh-TW        sr_RS@latin  sr-Latn-RS        pt_PT.UTF-8@euro  pt-PT
//
// What is no locale name is left out.
[[nodiscard]] std::vector<std::string> languageTags(const LocaleVariables& variables);

// The environment of the process, read once at construction, and ICU's number formats.
class LanguagesLinux final : public Languages {
public:
    LanguagesLinux();

    [[nodiscard]] std::vector<std::string> preferred() const override { return preferred_; }

    [[nodiscard]] std::string percent(double fraction, const std::string& language) const override;

private:
    std::vector<std::string> preferred_;
};

} // namespace InstallerCore
