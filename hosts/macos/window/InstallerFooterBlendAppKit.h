#pragma once

#import <AppKit/AppKit.h>

// The white fade above the footer. Clicks fall through it. For the main thread.
@interface InstallerFooterBlendAppKit : NSView
@end
