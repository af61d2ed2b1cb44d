#pragma once

#include <AppKit/NSApplication.h>

@class NSWindow;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.3))
@interface NSAlert : NSObject
@property(copy) NSString* messageText;
@property(readonly, strong) NSWindow* window;
- (NSModalResponse)runModal;
@end

NS_ASSUME_NONNULL_END
