// The sample application on a Mac: a window with the product's name, until that is closed.
#import <AppKit/AppKit.h>

#include <string>

extern "C" const char* kavioKitName(void);

@interface SampleApplication : NSObject <NSApplicationDelegate>
@end

@implementation SampleApplication {
    NSWindow* window_;
}

- (void)applicationDidFinishLaunching:(NSNotification*)__unused notification {
    constexpr NSRect content = {{0, 0}, {420, 200}};
    constexpr NSRect middle = {{20, 80}, {380, 40}};
    window_ = [[NSWindow alloc] initWithContentRect:content
                                          styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable
                                            backing:NSBackingStoreBuffered
                                              defer:NO];
    window_.releasedWhenClosed = NO; // it has an owner
    window_.title = @"Kavio";
    const std::string text = std::string("This is the sample application, with ") + kavioKitName() + ".";
    NSTextField* const sentence = [NSTextField labelWithString:[NSString stringWithUTF8String:text.c_str()]];
    sentence.frame = middle;
    [window_.contentView addSubview:sentence];
    [window_ center];
    [window_ makeKeyAndOrderFront:nil];
    [NSApp activateIgnoringOtherApps:YES];
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)__unused sender {
    return YES;
}

@end

int main() {
    @autoreleasepool {
        SampleApplication* const delegate = [[SampleApplication alloc] init];
        NSApplication* const application = NSApplication.sharedApplication;
        application.delegate = delegate; // which it does not keep
        [application run];
    }
}
