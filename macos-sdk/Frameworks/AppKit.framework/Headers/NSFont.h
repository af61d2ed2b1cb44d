#pragma once

#include <AppKit/NSFontDescriptor.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSFont : NSObject <NSCopying, NSSecureCoding>
+ (NSFont*)systemFontOfSize:(CGFloat)size weight:(NSFontWeight)weight API_AVAILABLE(macos(10.11));
+ (NSFont*)monospacedDigitSystemFontOfSize:(CGFloat)size
                                    weight:(NSFontWeight)weight API_AVAILABLE(macos(10.11));
@end

NS_ASSUME_NONNULL_END
