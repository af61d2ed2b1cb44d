#pragma once

#include "InstallerCore/platform/CodeSigning.h"

namespace InstallerCore {

// Apple's Security framework, which trusts what the system trusts.
class CodeSigningSecurity final : public CodeSigning {
public:
    [[nodiscard]] std::unique_ptr<StaticCode> staticCode(const std::filesystem::path& bundle) const override;

    [[nodiscard]] std::unique_ptr<SigningRequirement> requirement(const std::string& text) const override;
};

} // namespace InstallerCore
