#pragma once

#include <AVFoundation/AVAnimation.h>
#include <QuartzCore/CALayer.h>

@class AVPlayer;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.7))
@interface AVPlayerLayer : CALayer
@property(nonatomic, nullable, strong) AVPlayer* player;
@property(nonatomic, readonly, getter=isReadyForDisplay) BOOL readyForDisplay;
@property(copy) AVLayerVideoGravity videoGravity;
+ (AVPlayerLayer*)playerLayerWithPlayer:(nullable AVPlayer*)player;
@end

NS_ASSUME_NONNULL_END
