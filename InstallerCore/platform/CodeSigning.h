#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace InstallerCore {

// A condition on a signature, compiled from its text.
class SigningRequirement {
public:
    virtual ~SigningRequirement() = default;
};

// A signed bundle as it lies on disk.
class StaticCode {
public:
    virtual ~StaticCode() = default;

    // The signature holds for every architecture, all nested code and every sealed file, under strict rules,
    // and satisfies the requirement. The requirement comes from the same service. Blocks; computed anew each
    // time.
    [[nodiscard]] virtual bool isValid(const SigningRequirement& requirement) const = 0;
};

// The system's code-signing service. Says only yes or no; what was wrong is for the system log. May be called
// from any thread.
class CodeSigning {
public:
    virtual ~CodeSigning() = default;

    // Null when there is nothing at the path that could be signed code.
    [[nodiscard]] virtual std::unique_ptr<StaticCode>
    staticCode(const std::filesystem::path& bundle) const = 0;

    // Null when the text does not compile.
    [[nodiscard]] virtual std::unique_ptr<SigningRequirement> requirement(const std::string& text) const = 0;
};

} // namespace InstallerCore
