#pragma once

#include <QuartzCore/CABase.h>

API_AVAILABLE(macos(10.5))
@protocol CAMediaTiming
@property BOOL autoreverses;
@property CFTimeInterval duration;
@property float repeatCount;
@end
