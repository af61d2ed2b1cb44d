#pragma once

#include <AppKit/NSAccessibilityProtocols.h>
#include <AppKit/NSAppearance.h>
#include <AppKit/NSResponder.h>

@class CALayer;

NS_ASSUME_NONNULL_BEGIN

typedef NS_OPTIONS(NSUInteger, NSAutoresizingMaskOptions) {
    NSViewWidthSizable = 2,
    NSViewHeightSizable = 16,
} API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.0))
@interface NSView : NSResponder <NSAppearanceCustomization, NSAccessibility>
@property NSAutoresizingMaskOptions autoresizingMask;
@property NSRect bounds;
@property(readonly, getter=isFlipped) BOOL flipped;
@property NSRect frame;
@property(getter=isHidden) BOOL hidden;
@property(nullable, strong) CALayer* layer API_AVAILABLE(macos(10.5));
@property BOOL needsDisplay;
@property BOOL wantsLayer API_AVAILABLE(macos(10.5));
- (instancetype)initWithFrame:(NSRect)frame NS_DESIGNATED_INITIALIZER;
- (nullable instancetype)initWithCoder:(NSCoder*)coder NS_DESIGNATED_INITIALIZER;
- (void)addSubview:(NSView*)view;
- (void)drawRect:(NSRect)dirty;
- (nullable NSView*)hitTest:(NSPoint)point;
- (void)layout API_AVAILABLE(macos(10.7));
@end

NS_ASSUME_NONNULL_END
