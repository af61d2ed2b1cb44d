#pragma once

#include "InstallerCore/platform/CodeSigning.h"

namespace InstallerCore {

// A host that cannot check signatures yet: nothing is signed code, so no application is ever accepted.
class NoCodeSigning final : public CodeSigning {
public:
    [[nodiscard]] std::unique_ptr<StaticCode>
    staticCode(const std::filesystem::path& /*bundle*/) const override {
        return nullptr;
    }

    [[nodiscard]] std::unique_ptr<SigningRequirement>
    requirement(const std::string& /*text*/) const override {
        return nullptr;
    }
};

} // namespace InstallerCore
