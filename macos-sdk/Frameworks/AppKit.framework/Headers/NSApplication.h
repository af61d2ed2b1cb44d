#pragma once

#include <AppKit/NSResponder.h>

@class NSApplication;
@class NSMenu;

NS_ASSUME_NONNULL_BEGIN

typedef NSInteger NSModalResponse;

typedef NS_ENUM(NSInteger, NSApplicationActivationPolicy) {
    NSApplicationActivationPolicyRegular = 0,
    NSApplicationActivationPolicyAccessory = 1,
} API_AVAILABLE(macos(10.6));

typedef NS_ENUM(NSUInteger, NSApplicationTerminateReply) {
    NSTerminateCancel = 0,
    NSTerminateNow = 1,
} API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.0))
@protocol NSApplicationDelegate <NSObject>
@optional
- (void)applicationDidFinishLaunching:(NSNotification*)notification;
- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)sender;
- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)sender;
- (BOOL)applicationSupportsSecureRestorableState:(NSApplication*)application API_AVAILABLE(macos(12.0));
- (void)applicationWillTerminate:(NSNotification*)notification API_AVAILABLE(macos(10.10));
@end

API_AVAILABLE(macos(10.0))
@interface NSApplication : NSResponder
@property(class, readonly, strong) __kindof NSApplication* sharedApplication;
@property(nullable, weak) id<NSApplicationDelegate> delegate;
@property(nullable, strong) NSMenu* mainMenu;
- (void)activateIgnoringOtherApps:(BOOL)ignoresOthers;
- (void)run;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy API_AVAILABLE(macos(10.6));
- (void)terminate:(nullable id)sender;
@end

APPKIT_EXTERN __kindof NSApplication* _Null_unspecified NSApp API_AVAILABLE(macos(10.0));

NS_ASSUME_NONNULL_END
