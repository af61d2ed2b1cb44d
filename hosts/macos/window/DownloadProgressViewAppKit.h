#pragma once

#include "KavioInstaller/DownloadProgressView.h"

#import <AppKit/AppKit.h>

// The thin bar, a progress indicator to a screen reader. For the main thread.
@interface DownloadProgressViewAppKit : NSView

- (instancetype)initWithFrame:(NSRect)frame NS_DESIGNATED_INITIALIZER;
- (instancetype)initWithCoder:(NSCoder*)coder NS_UNAVAILABLE; // stops the program

- (void)show:(const InstallerCore::DownloadProgressView&)value;

@end
