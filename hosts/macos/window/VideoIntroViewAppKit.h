#pragma once

#include "KavioInstaller/VideoIntroView.h"

#import <AppKit/AppKit.h>

// The intro area: the looping video once it is ready, else the drawn picture. For the main thread.
@interface VideoIntroViewAppKit : NSView

- (instancetype)initWithFrame:(NSRect)frame NS_DESIGNATED_INITIALIZER;
- (instancetype)initWithCoder:(NSCoder*)coder NS_UNAVAILABLE; // stops the program

- (void)show:(const InstallerCore::VideoIntroView&)value;

@end
