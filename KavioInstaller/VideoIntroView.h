#pragma once

#include "InstallerCore/platform/Resources.h"
#include "KavioInstaller/WelcomeView.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore {

// The intro area: a muted video that loops, fitted into the view with its aspect kept, and until its first
// frame is ready, or for want of one, the drawn picture. Playing it is the host's; what it plays is said
// here.
struct VideoIntroView {
    static constexpr const char* accessibleName = "Kavio"; // to a screen reader

    WelcomeView fallback;
    std::optional<std::filesystem::path> video; // none: the picture is all there is

    // Chooses the video for the first of the languages, as long as the application has it.
    [[nodiscard]] static VideoIntroView make(const std::vector<std::string>& preferredLanguages,
                                             const Resources& resources);

    // The resource's name without its extension: "intro-ja" or "intro-en".
    [[nodiscard]] static std::string resourceName(const std::vector<std::string>& preferredLanguages);

    friend bool operator==(const VideoIntroView&, const VideoIntroView&) = default;
};

} // namespace InstallerCore
