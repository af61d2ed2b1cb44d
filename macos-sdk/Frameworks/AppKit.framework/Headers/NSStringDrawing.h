#pragma once

#include <AppKit/NSAttributedString.h>

NS_ASSUME_NONNULL_BEGIN

@interface NSString (NSStringDrawing)
- (void)drawInRect:(NSRect)rectangle
    withAttributes:(nullable NSDictionary<NSAttributedStringKey, id>*)attributes API_AVAILABLE(macos(10.0));
@end

NS_ASSUME_NONNULL_END
