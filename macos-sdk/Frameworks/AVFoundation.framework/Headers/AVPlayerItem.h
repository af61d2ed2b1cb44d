#pragma once

#include <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.7))
@interface AVPlayerItem : NSObject <NSCopying>
- (instancetype)init NS_UNAVAILABLE;
+ (instancetype)new NS_UNAVAILABLE;
+ (instancetype)playerItemWithURL:(NSURL*)url;
@end

NS_ASSUME_NONNULL_END
