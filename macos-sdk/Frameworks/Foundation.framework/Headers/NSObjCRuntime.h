// The macros that Apple's headers are written with.
#pragma once

#include <CoreFoundation/CFAvailability.h>
#include <objc/NSObjCRuntime.h>

#define FOUNDATION_EXPORT CF_EXPORT
#define NS_ASSUME_NONNULL_BEGIN CF_ASSUME_NONNULL_BEGIN
#define NS_ASSUME_NONNULL_END CF_ASSUME_NONNULL_END
#define NS_ENUM CF_ENUM
#define NS_OPTIONS CF_OPTIONS
#define NS_FORMAT_FUNCTION(text, first) __attribute__((format(__NSString__, text, first)))
#define NS_NOESCAPE __attribute__((noescape))
#define NS_RETURNS_INNER_POINTER __attribute__((objc_returns_inner_pointer))
#define NS_UNAVAILABLE __attribute__((unavailable))

@class NSString;

typedef NS_ENUM(NSInteger, NSQualityOfService) {
    NSQualityOfServiceUserInitiated = 0x19,
} API_AVAILABLE(macos(10.10));

FOUNDATION_EXPORT void NSLog(NSString* _Nonnull format, ...) NS_FORMAT_FUNCTION(1, 2)
    API_AVAILABLE(macos(10.0));
