#include "hosts/macos/CodeSigningSecurity.h"

#include "hosts/macos/FoundationValues.h"

#import <Security/Security.h>

#include <type_traits>

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

class StaticCodeSecurity final : public StaticCode {
public:
    explicit StaticCodeSecurity(SecStaticCodeRef owned) : code_(owned) {}

    [[nodiscard]] bool isValid(const SigningRequirement& requirement) const override {
        const auto& condition = dynamic_cast<const RequirementSecurity&>(requirement);
        constexpr SecCSFlags flags =
            kSecCSCheckAllArchitectures | kSecCSCheckNestedCode | kSecCSStrictValidate;
        @autoreleasepool {
            return SecStaticCodeCheckValidity(code_.get(), flags, condition.get()) == errSecSuccess;
        }
    }

private:
    Owned<SecStaticCodeRef> code_;
};

} // namespace

std::unique_ptr<StaticCode> CodeSigningSecurity::staticCode(const std::filesystem::path& bundle) const {
    @autoreleasepool {
        SecStaticCodeRef code = nullptr;
        NSURL* const url = toNSURL(bundle);
        const bool made =
            SecStaticCodeCreateWithPath((__bridge CFURLRef)url, kSecCSDefaultFlags, &code) == errSecSuccess;
        return made && code != nullptr ? std::make_unique<StaticCodeSecurity>(code) : nullptr;
    }
}

std::unique_ptr<SigningRequirement> CodeSigningSecurity::requirement(const std::string& text) const {
    @autoreleasepool {
        NSString* const string = toNSString(text); // an empty text does not compile either
        SecRequirementRef requirement = nullptr;
        const bool made = SecRequirementCreateWithString((__bridge CFStringRef)string, kSecCSDefaultFlags,
                                                         &requirement) == errSecSuccess;
        return made && requirement != nullptr ? std::make_unique<RequirementSecurity>(requirement) : nullptr;
    }
}

} // namespace InstallerCore
