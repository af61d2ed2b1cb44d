#pragma once

#include <QuartzCore/CABase.h>

@protocol CAMediaTiming
@property BOOL autoreverses;
@property CFTimeInterval duration;
@property float repeatCount;
@end
