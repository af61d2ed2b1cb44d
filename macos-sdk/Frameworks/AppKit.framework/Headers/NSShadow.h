#pragma once

#include <AppKit/NSColor.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSShadow : NSObject <NSCopying, NSSecureCoding>
@property CGFloat shadowBlurRadius;
@property(nullable, copy) NSColor* shadowColor;
@property NSSize shadowOffset;
- (instancetype)init NS_DESIGNATED_INITIALIZER;
- (void)set;
@end

NS_ASSUME_NONNULL_END
