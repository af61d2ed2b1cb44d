// The sample application on a Mac: a window with the product's name, until that is closed.
#import <AppKit/AppKit.h>

#include <string>

extern "C" const char* kavioKitName(void);

@interface SampleApplication : NSObject <NSApplicationDelegate>
@end

@implementation SampleApplication {
    NSWindow* _window;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
    constexpr NSRect content = {{0, 0}, {420, 200}};
    constexpr NSRect middle = {{20, 80}, {380, 40}};
    _window = [[NSWindow alloc] initWithContentRect:content
                                          styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable
                                            backing:NSBackingStoreBuffered
                                              defer:NO];
    _window.releasedWhenClosed = NO; // it has an owner
    _window.title = @"Kavio";
    const std::string text = std::string("This is the sample application, with ") + kavioKitName() + ".";
    NSTextField* const sentence = [NSTextField labelWithString:[NSString stringWithUTF8String:text.c_str()]];
    sentence.frame = middle;
    [_window.contentView addSubview:sentence];
    [_window center];
    [_window makeKeyAndOrderFront:nil];
    [NSApp activateIgnoringOtherApps:YES];
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)sender {
    return YES;
}

@end

// To quit by its key.
static NSMenu* makeMainMenu() {
    NSMenu* const application = [[NSMenu alloc] init];
    [application addItemWithTitle:@"Quit Kavio" action:@selector(terminate:) keyEquivalent:@"q"];
    NSMenuItem* const item = [[NSMenuItem alloc] init];
    item.submenu = application;
    NSMenu* const menu = [[NSMenu alloc] init];
    [menu addItem:item];
    return menu;
}

int main() {
    @autoreleasepool {
        static SampleApplication* const delegate = [[SampleApplication alloc] init]; // no one else keeps it
        NSApplication* const application = NSApplication.sharedApplication;
        application.mainMenu = makeMainMenu();
        application.delegate = delegate;
        [application run];
    }
}
