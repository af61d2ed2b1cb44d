#pragma once

#include "InstallerCore/platform/Languages.h"

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// A user who reads what a test says, and percentages as in English whatever the language.
class FakeLanguages final : public Languages {
public:
    [[nodiscard]] std::vector<std::string> preferred() const override { return tags; }

    [[nodiscard]] std::string percent(double fraction, const std::string& language) const override {
        return onPercent(fraction, language);
    }

    std::vector<std::string> tags;

    std::function<std::string(double, const std::string&)> onPercent = [](double fraction,
                                                                          const std::string&) {
        char text[400]; // the largest double has 309 digits
        std::snprintf(text, sizeof text, "%.1f%%", fraction * 100);
        return std::string(text);
    };
};

} // namespace InstallerCore::Testing
