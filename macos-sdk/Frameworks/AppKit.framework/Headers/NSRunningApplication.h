#pragma once

#include <Foundation/NSArray.h>
#include <Foundation/NSObject.h>
#include <sys/types.h>

@class NSString;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.6))
@interface NSRunningApplication : NSObject
@property(readonly) pid_t processIdentifier;
+ (NSArray<NSRunningApplication*>*)runningApplicationsWithBundleIdentifier:(NSString*)identifier;
@end

NS_ASSUME_NONNULL_END
