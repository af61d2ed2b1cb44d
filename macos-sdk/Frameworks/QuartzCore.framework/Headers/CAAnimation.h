#pragma once

#include <QuartzCore/CAMediaTiming.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.5))
@interface CAAnimation : NSObject <NSSecureCoding, NSCopying, CAMediaTiming>
@end

API_AVAILABLE(macos(10.5))
@interface CAPropertyAnimation : CAAnimation
+ (instancetype)animationWithKeyPath:(nullable NSString*)path;
@end

API_AVAILABLE(macos(10.5))
@interface CABasicAnimation : CAPropertyAnimation
@property(nullable, strong) id fromValue;
@property(nullable, strong) id toValue;
@end

NS_ASSUME_NONNULL_END
