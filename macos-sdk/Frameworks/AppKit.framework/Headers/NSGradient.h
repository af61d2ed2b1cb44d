#pragma once

#include <AppKit/NSColor.h>

NS_ASSUME_NONNULL_BEGIN

typedef NS_OPTIONS(NSUInteger, NSGradientDrawingOptions) {
    NSGradientDrawsBeforeStartingLocation = 1,
    NSGradientDrawsAfterEndingLocation = 2,
} API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.5))
@interface NSGradient : NSObject <NSCopying, NSSecureCoding>
- (nullable instancetype)initWithStartingColor:(NSColor*)start endingColor:(NSColor*)end;
- (void)drawFromPoint:(NSPoint)start toPoint:(NSPoint)end options:(NSGradientDrawingOptions)options;
@end

NS_ASSUME_NONNULL_END
