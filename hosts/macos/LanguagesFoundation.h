#pragma once

#include "InstallerCore/platform/Languages.h"

namespace InstallerCore {

// The languages of the system's settings, and Foundation's number formats.
class LanguagesFoundation final : public Languages {
public:
    [[nodiscard]] std::vector<std::string> preferred() const override;
    [[nodiscard]] std::string percent(double fraction, const std::string& language) const override;
};

} // namespace InstallerCore
