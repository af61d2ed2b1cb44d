#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct CF_BRIDGED_TYPE(id) __SecCode* SecStaticCodeRef;
typedef struct CF_BRIDGED_TYPE(id) __SecRequirement* SecRequirementRef;

typedef CF_OPTIONS(uint32_t, SecCSFlags) {
    kSecCSDefaultFlags = 0,
} API_AVAILABLE(macos(10.0));

CF_EXTERN_C_END
