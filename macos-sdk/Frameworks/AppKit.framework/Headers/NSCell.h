#pragma once

#include <AppKit/NSAccessibilityProtocols.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSCell : NSObject <NSCopying, NSCoding, NSAccessibility>
- (NSSize)cellSizeForBounds:(NSRect)bounds;
@end

NS_ASSUME_NONNULL_END
