#pragma once

#include <Foundation/NSObject.h>

@class NSString;

NS_ASSUME_NONNULL_BEGIN

typedef struct {
    NSInteger majorVersion;
    NSInteger minorVersion;
    NSInteger patchVersion;
} NSOperatingSystemVersion;

typedef NS_OPTIONS(uint64_t, NSActivityOptions) {
    NSActivityIdleSystemSleepDisabled = 1ULL << 20,
    NSActivitySuddenTerminationDisabled = 1ULL << 14,
    NSActivityAutomaticTerminationDisabled = 1ULL << 15,
    NSActivityUserInitiated = 0x00FFFFFFULL | NSActivityIdleSystemSleepDisabled,
} API_AVAILABLE(macos(10.9));

API_AVAILABLE(macos(10.0))
@interface NSProcessInfo : NSObject
@property(class, readonly, strong) NSProcessInfo* processInfo;
@property(readonly) NSOperatingSystemVersion operatingSystemVersion API_AVAILABLE(macos(10.10));
- (id<NSObject>)beginActivityWithOptions:(NSActivityOptions)options
                                  reason:(NSString*)reason API_AVAILABLE(macos(10.9));
- (void)endActivity:(id<NSObject>)activity API_AVAILABLE(macos(10.9));
@end

NS_ASSUME_NONNULL_END
