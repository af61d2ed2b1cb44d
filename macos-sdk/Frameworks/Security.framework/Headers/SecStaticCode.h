#pragma once

#include <CoreFoundation/CFURL.h>
#include <Security/CSCommon.h>

CF_ASSUME_NONNULL_BEGIN
CF_EXTERN_C_BEGIN

CF_ENUM(uint32_t){
    kSecCSCheckAllArchitectures = 1 << 0,
    kSecCSCheckNestedCode = 1 << 3,
    kSecCSStrictValidate = 1 << 4,
} API_AVAILABLE(macos(10.0));

OSStatus SecStaticCodeCreateWithPath(CFURLRef path, SecCSFlags flags,
                                     SecStaticCodeRef _Nullable* _Nonnull CF_RETURNS_RETAINED code)
    API_AVAILABLE(macos(10.0));
OSStatus SecStaticCodeCheckValidity(SecStaticCodeRef code, SecCSFlags flags,
                                    SecRequirementRef _Nullable requirement) API_AVAILABLE(macos(10.0));

CF_EXTERN_C_END
CF_ASSUME_NONNULL_END
