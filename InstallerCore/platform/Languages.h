#pragma once

#include <string>
#include <vector>

namespace InstallerCore {

// What the user reads, and how it is written there. May be called from any thread.
class Languages {
public:
    virtual ~Languages() = default;

    // Language tags such as "pt-BR", the user's first choice first.
    [[nodiscard]] virtual std::vector<std::string> preferred() const = 0;

    // The fraction as a percentage with exactly one fraction digit, as the language of the tag writes it: 0.5
    // is "50.0%" in "en-US". Empty when it cannot be formatted.
    [[nodiscard]] virtual std::string percent(double fraction, const std::string& language) const = 0;
};

} // namespace InstallerCore
