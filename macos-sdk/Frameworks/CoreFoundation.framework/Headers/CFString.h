#pragma once

#include <CoreFoundation/CFBase.h>

CF_ASSUME_NONNULL_BEGIN
CF_EXTERN_C_BEGIN

typedef const struct CF_BRIDGED_TYPE(NSString) __CFString* CFStringRef;

CF_EXTERN_C_END
CF_ASSUME_NONNULL_END
