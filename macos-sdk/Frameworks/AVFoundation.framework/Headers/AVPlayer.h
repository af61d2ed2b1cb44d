#pragma once

#include <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.7))
@interface AVPlayer : NSObject
@property(nonatomic, getter=isMuted) BOOL muted;
- (void)play;
@end

API_AVAILABLE(macos(10.7))
@interface AVQueuePlayer : AVPlayer
@end

NS_ASSUME_NONNULL_END
