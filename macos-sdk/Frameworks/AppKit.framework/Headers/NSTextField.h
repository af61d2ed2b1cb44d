#pragma once

#include <AppKit/NSControl.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSTextField : NSControl
@property(getter=isSelectable) BOOL selectable;
+ (instancetype)labelWithString:(NSString*)text API_AVAILABLE(macos(10.12));
+ (instancetype)wrappingLabelWithString:(NSString*)text API_AVAILABLE(macos(10.12));
@end

NS_ASSUME_NONNULL_END
