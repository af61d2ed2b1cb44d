#pragma once

#include <QuartzCore/CAMediaTiming.h>

@class CAAnimation;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.5))
@interface CALayer : NSObject <NSSecureCoding, CAMediaTiming>
@property CGRect frame;
@property(getter=isHidden) BOOL hidden;
- (void)addAnimation:(CAAnimation*)animation forKey:(nullable NSString*)key;
- (void)addSublayer:(CALayer*)layer;
- (nullable __kindof CAAnimation*)animationForKey:(NSString*)key;
- (void)removeAnimationForKey:(NSString*)key;
@end

NS_ASSUME_NONNULL_END
