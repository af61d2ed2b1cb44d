#pragma once

#include <AppKit/NSAppearance.h>
#include <AppKit/NSGraphics.h>
#include <AppKit/NSResponder.h>

@class NSColor;
@class NSView;
@class NSWindow;

NS_ASSUME_NONNULL_BEGIN

typedef NS_OPTIONS(NSUInteger, NSWindowStyleMask) {
    NSWindowStyleMaskTitled = 1 << 0,
    NSWindowStyleMaskClosable = 1 << 1,
    NSWindowStyleMaskMiniaturizable = 1 << 2,
    NSWindowStyleMaskFullSizeContentView API_AVAILABLE(macos(10.10)) = 1 << 15,
} API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.0))
@protocol NSWindowDelegate <NSObject>
@optional
- (BOOL)windowShouldClose:(NSWindow*)sender;
@end

API_AVAILABLE(macos(10.0))
@interface NSWindow : NSResponder <NSAppearanceCustomization>
@property(null_resettable, copy) NSColor* backgroundColor;
@property(nullable, strong) __kindof NSView* contentView;
@property(nullable, weak) id<NSWindowDelegate> delegate;
@property(getter=isReleasedWhenClosed) BOOL releasedWhenClosed;
@property BOOL preventsApplicationTerminationWhenModal API_AVAILABLE(macos(10.6));
@property(copy) NSString* title;
@property BOOL titlebarAppearsTransparent API_AVAILABLE(macos(10.10));
- (instancetype)initWithContentRect:(NSRect)content
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backing
                              defer:(BOOL)isDeferred NS_DESIGNATED_INITIALIZER;
- (void)center;
- (void)makeKeyAndOrderFront:(nullable id)sender;
- (void)orderOut:(nullable id)sender;
@end

@interface NSWindow (NSWindowRestoration)
@property(getter=isRestorable) BOOL restorable API_AVAILABLE(macos(10.7));
@end

NS_ASSUME_NONNULL_END
