#pragma once

#include "InstallerCore/platform/CodeSigning.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// Signatures of which a test says which hold.
class FakeCodeSigning final : public CodeSigning {
public:
    // By default every existing directory is signed code, every text compiles and every signature holds.
    std::function<bool(const std::filesystem::path&)> isCode;
    std::function<bool(const std::string&)> compiles;
    std::function<bool(const std::filesystem::path&, const std::string& requirement)> isValid;

    // "code PATH", "requirement TEXT" and "validity PATH", in the order of the calls.
    [[nodiscard]] const std::vector<std::string>& calls() const { return calls_; }

    [[nodiscard]] std::unique_ptr<StaticCode> staticCode(const std::filesystem::path& bundle) const override;
    [[nodiscard]] std::unique_ptr<SigningRequirement> requirement(const std::string& text) const override;

private:
    mutable std::vector<std::string> calls_; // counting is not part of what a caller sees
};

} // namespace InstallerCore::Testing
