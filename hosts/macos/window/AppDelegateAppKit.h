#pragma once

#include "KavioInstaller/AppDelegate.h"

#import <AppKit/AppKit.h>

// Passes on to the flow what AppKit tells an application, its window and its button. For the main thread.
@interface AppDelegateAppKit : NSObject <NSApplicationDelegate, NSWindowDelegate>

// The flow must outlive it.
- (instancetype)initWithFlow:(InstallerCore::AppDelegate&)flow NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;

// The button was pressed.
- (void)start:(id)sender;

// Ends the application soon, without asking the flow whether it may.
- (void)terminate;

@end
