#include "hosts/linux/codesign/CodeSigningLinux.h"

#include "hosts/linux/codesign/BundleDirectory.h"
#include "hosts/linux/codesign/BundleLayout.h"
#include "hosts/linux/codesign/Requirement.h"
#include "hosts/linux/codesign/SignatureError.h"
#include "hosts/linux/codesign/StaticVerification.h"

#include <chrono>
#include <exception>
#include <utility>

namespace InstallerCore {

namespace {

class CompiledRequirement final : public SigningRequirement {
public:
    explicit CompiledRequirement(CodeSign::Requirement requirement) : requirement_(std::move(requirement)) {}

    [[nodiscard]] const CodeSign::Requirement& get() const noexcept { return requirement_; }

private:
    CodeSign::Requirement requirement_;
};

class Code final : public StaticCode {
public:
    Code(std::filesystem::path path, const CodeSign::TrustRoots& roots, const Clock& clock, SystemLog& log)
        : path_(std::move(path)), roots_(roots), clock_(clock), log_(log) {}

    [[nodiscard]] bool isValid(const SigningRequirement& requirement) const override {
        const auto& compiled = dynamic_cast<const CompiledRequirement&>(requirement);
        try {
            const std::time_t now = std::chrono::system_clock::to_time_t(clock_.now());
            static_cast<void>(CodeSign::verifyStatic(path_, &compiled.get(), roots_, now));
            return true;
        } catch (const std::exception& error) { // whatever it is, nothing was proven
            log_.write("Signature refused: " + path_.string() + ": " + error.what());
            return false;
        }
    }

private:
    std::filesystem::path path_;
    const CodeSign::TrustRoots& roots_;
    const Clock& clock_;
    SystemLog& log_;
};

bool couldBeCode(const std::filesystem::path& path) {
    if (const auto directory = CodeSign::BundleDirectory::open(path)) {
        return CodeSign::looksLikeBundle(*directory);
    }
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

} // namespace

std::unique_ptr<StaticCode> CodeSigningLinux::staticCode(const std::filesystem::path& bundle) const {
    try {
        if (couldBeCode(bundle)) {
            return std::make_unique<Code>(bundle, roots_, clock_, log_);
        }
    } catch (const CodeSign::SignatureError& error) {
        log_.write("Signature refused: " + bundle.string() + ": " + error.what());
    }
    return nullptr;
}

std::unique_ptr<SigningRequirement> CodeSigningLinux::requirement(const std::string& text) const {
    auto compiled = CodeSign::Requirement::compile(text);
    return compiled ? std::make_unique<CompiledRequirement>(std::move(*compiled)) : nullptr;
}

} // namespace InstallerCore
