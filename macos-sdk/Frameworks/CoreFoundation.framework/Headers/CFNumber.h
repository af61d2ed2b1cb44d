#pragma once

#include <CoreFoundation/CFBase.h>

CF_ASSUME_NONNULL_BEGIN
CF_EXTERN_C_BEGIN

typedef const struct CF_BRIDGED_TYPE(NSNumber) __CFNumber* CFNumberRef;

typedef CF_ENUM(CFIndex, CFNumberType) {
    kCFNumberSInt64Type = 4,
} API_AVAILABLE(macos(10.0));

CFTypeID CFBooleanGetTypeID(void) API_AVAILABLE(macos(10.0));
Boolean CFNumberIsFloatType(CFNumberRef number) API_AVAILABLE(macos(10.0));
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) API_AVAILABLE(macos(10.0));

CF_EXTERN_C_END
CF_ASSUME_NONNULL_END
