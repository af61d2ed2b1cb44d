#pragma once

#include <AppKit/NSMenuItem.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSMenu : NSObject <NSCopying, NSCoding>
- (void)addItem:(NSMenuItem*)item;
- (NSMenuItem*)addItemWithTitle:(NSString*)title action:(nullable SEL)action keyEquivalent:(NSString*)key;
@end

NS_ASSUME_NONNULL_END
