#pragma once

#include <AppKit/AppKitDefines.h>
#include <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSBezierPath : NSObject <NSCopying, NSSecureCoding>
+ (NSBezierPath*)bezierPathWithRoundedRect:(NSRect)rectangle
                                   xRadius:(CGFloat)x
                                   yRadius:(CGFloat)y API_AVAILABLE(macos(10.5));
- (void)addClip;
- (void)fill;
@end

NS_ASSUME_NONNULL_END
