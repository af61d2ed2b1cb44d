#pragma once

#include "KavioInstaller/WelcomeView.h"

#import <AppKit/AppKit.h>

// The drawn intro picture. For the main thread.
@interface WelcomeViewAppKit : NSView

- (void)show:(const InstallerCore::WelcomeView&)value;

@end
