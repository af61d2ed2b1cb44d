#pragma once

#include <Foundation/Foundation.h>

@class AVPlayerItem;
@class AVQueuePlayer;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.12))
@interface AVPlayerLooper : NSObject
- (instancetype)init NS_UNAVAILABLE;
+ (instancetype)new NS_UNAVAILABLE;
+ (instancetype)playerLooperWithPlayer:(AVQueuePlayer*)player templateItem:(AVPlayerItem*)item;
@end

NS_ASSUME_NONNULL_END
