#pragma once

#include "InstallerCore/platform/Clock.h"
#include "InstallerCore/platform/CodeSigning.h"
#include "InstallerCore/platform/SystemLog.h"
#include "hosts/linux/codesign/TrustRoots.h"

namespace InstallerCore {

// The code-signing service by our own verifier. Each refusal is one line in the log, which says where and
// why. The roots, clock and log must outlive this object and what it gives.
class CodeSigningLinux final : public CodeSigning {
public:
    CodeSigningLinux(const CodeSign::TrustRoots& roots, const Clock& clock, SystemLog& log)
        : roots_(roots), clock_(clock), log_(log) {}

    [[nodiscard]] std::unique_ptr<StaticCode> staticCode(const std::filesystem::path& bundle) const override;
    [[nodiscard]] std::unique_ptr<SigningRequirement> requirement(const std::string& text) const override;

private:
    const CodeSign::TrustRoots& roots_;
    const Clock& clock_;
    SystemLog& log_;
};

} // namespace InstallerCore
