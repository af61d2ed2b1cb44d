#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace InstallerCore::Artwork {

// In which words a video shows what the welcome picture says in English.
class IntroWords {
public:
    // For "en" and "ja"; absent for any other.
    [[nodiscard]] static std::optional<IntroWords> in(std::string_view language);

    // The text itself where there is no other: the product's name, the ticks.
    [[nodiscard]] std::string operator()(const std::string& english) const;

private:
    explicit IntroWords(bool isJapanese) : isJapanese_(isJapanese) {}

    bool isJapanese_;
};

} // namespace InstallerCore::Artwork
