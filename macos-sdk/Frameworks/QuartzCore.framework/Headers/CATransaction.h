#pragma once

#include <QuartzCore/CABase.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.5))
@interface CATransaction : NSObject
+ (void)begin;
+ (void)commit;
+ (void)setDisableActions:(BOOL)isDisabled;
@end

NS_ASSUME_NONNULL_END
