#include "hosts/macos/CodeSigningSecurity.h"

#include "hosts/macos/FoundationValues.h"

#import <Security/Security.h>

#include <type_traits>
#include <utility>

namespace InstallerCore {

namespace {

struct Releaser {
    void operator()(CFTypeRef object) const noexcept { CFRelease(object); }
};

template <typename Reference>
using Owned = std::unique_ptr<std::remove_pointer_t<Reference>, Releaser>;

class RequirementSecurity final : public SigningRequirement {
public:
    explicit RequirementSecurity(SecRequirementRef owned) : requirement_(owned) {}

    [[nodiscard]] SecRequirementRef get() const { return requirement_.get(); }

private:
    Owned<SecRequirementRef> requirement_;
};

// Null when there is nothing that could be signed.
Owned<SecStaticCodeRef> codeAt(const std::filesystem::path& bundle) {
    SecStaticCodeRef code = nullptr;
    NSURL* const url = toNSURL(bundle);
    const OSStatus status = SecStaticCodeCreateWithPath((__bridge CFURLRef)url, kSecCSDefaultFlags, &code);
    return Owned<SecStaticCodeRef>(status == errSecSuccess ? code : nullptr);
}

class StaticCodeSecurity final : public StaticCode {
public:
    explicit StaticCodeSecurity(std::filesystem::path bundle) : bundle_(std::move(bundle)) {}

    [[nodiscard]] bool isValid(const SigningRequirement& requirement) const override {
        const auto& condition = dynamic_cast<const RequirementSecurity&>(requirement);
        constexpr SecCSFlags flags =
            kSecCSCheckAllArchitectures | kSecCSCheckNestedCode | kSecCSStrictValidate;
        @autoreleasepool {
            const auto code = codeAt(bundle_); // a new one: the system's object keeps its first verdict
            return code != nullptr &&
                   SecStaticCodeCheckValidity(code.get(), flags, condition.get()) == errSecSuccess;
        }
    }

private:
    std::filesystem::path bundle_;
};

} // namespace

std::unique_ptr<StaticCode> CodeSigningSecurity::staticCode(const std::filesystem::path& bundle) const {
    @autoreleasepool {
        return codeAt(bundle) != nullptr ? std::make_unique<StaticCodeSecurity>(bundle) : nullptr;
    }
}

std::unique_ptr<SigningRequirement> CodeSigningSecurity::requirement(const std::string& text) const {
    @autoreleasepool {
        NSString* const string = fromUtf8(text);
        SecRequirementRef requirement = nullptr;
        const bool made =
            string != nil && SecRequirementCreateWithString((__bridge CFStringRef)string, kSecCSDefaultFlags,
                                                            &requirement) == errSecSuccess;
        return made && requirement != nullptr ? std::make_unique<RequirementSecurity>(requirement) : nullptr;
    }
}

} // namespace InstallerCore
