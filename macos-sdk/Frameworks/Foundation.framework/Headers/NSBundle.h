#pragma once

#include <Foundation/NSObject.h>

@class NSString;
@class NSURL;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle* mainBundle;
@property(readonly, copy) NSURL* bundleURL API_AVAILABLE(macos(10.6));
- (nullable NSURL*)URLForResource:(nullable NSString*)name
                    withExtension:(nullable NSString*)extension API_AVAILABLE(macos(10.6));
@end

NS_ASSUME_NONNULL_END
