#pragma once

#include <AppKit/NSText.h>
#include <AppKit/NSView.h>

@class NSCell;
@class NSFont;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSControl : NSView
@property NSTextAlignment alignment;
@property NSWritingDirection baseWritingDirection;
@property(nullable, strong) __kindof NSCell* cell;
@property(getter=isEnabled) BOOL enabled;
@property(nullable, strong) NSFont* font;
@property(copy) NSString* stringValue;
@end

NS_ASSUME_NONNULL_END
