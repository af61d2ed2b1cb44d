#include "tests/support/FakeCodeSigning.h"

namespace InstallerCore::Testing {

namespace {

class FakeRequirement final : public SigningRequirement {
public:
    explicit FakeRequirement(std::string requirementText) : text(std::move(requirementText)) {}

    std::string text;
};

class FakeStaticCode final : public StaticCode {
public:
    FakeStaticCode(std::filesystem::path bundle,
                   std::function<bool(const std::filesystem::path&, const std::string&)> check)
        : bundle_(std::move(bundle)), check_(std::move(check)) {}

    [[nodiscard]] bool isValid(const SigningRequirement& requirement) const override {
        return check_(bundle_, dynamic_cast<const FakeRequirement&>(requirement).text);
    }

private:
    std::filesystem::path bundle_;
    std::function<bool(const std::filesystem::path&, const std::string&)> check_;
};

} // namespace

std::unique_ptr<StaticCode> FakeCodeSigning::staticCode(const std::filesystem::path& bundle) const {
    calls_.push_back("code " + bundle.string());
    const bool accepted = isCode ? isCode(bundle) : std::filesystem::is_directory(bundle);
    if (!accepted) {
        return nullptr;
    }
    return std::make_unique<FakeStaticCode>(
        bundle, [this](const std::filesystem::path& path, const std::string& requirement) {
            calls_.push_back("validity " + path.string());
            return !isValid || isValid(path, requirement);
        });
}

std::unique_ptr<SigningRequirement> FakeCodeSigning::requirement(const std::string& text) const {
    calls_.push_back("requirement " + text);
    const bool accepted = !compiles || compiles(text);
    return accepted ? std::make_unique<FakeRequirement>(text) : nullptr;
}

} // namespace InstallerCore::Testing
