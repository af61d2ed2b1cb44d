#pragma once

#include <AppKit/NSButtonCell.h>
#include <AppKit/NSControl.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSButton : NSControl
@property NSBezelStyle bezelStyle;
@property(copy) NSString* keyEquivalent;
@property(copy) NSString* title;
+ (instancetype)buttonWithTitle:(NSString*)title
                         target:(nullable id)target
                         action:(nullable SEL)action API_AVAILABLE(macos(10.12));
@end

NS_ASSUME_NONNULL_END
