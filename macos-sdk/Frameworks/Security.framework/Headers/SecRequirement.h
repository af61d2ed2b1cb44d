#pragma once

#include <CoreFoundation/CFString.h>
#include <Security/CSCommon.h>

CF_ASSUME_NONNULL_BEGIN
CF_EXTERN_C_BEGIN

OSStatus SecRequirementCreateWithString(CFStringRef text, SecCSFlags flags,
                                        SecRequirementRef _Nullable* _Nonnull CF_RETURNS_RETAINED requirement)
    API_AVAILABLE(macos(10.0));

CF_EXTERN_C_END
CF_ASSUME_NONNULL_END
