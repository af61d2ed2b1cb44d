#include "hosts/macos/window/AppDelegateAppKit.h"

#include "hosts/macos/window/WithoutThrowing.h"

#include <dispatch/dispatch.h>

#include <cstdlib>

using InstallerCore::withoutThrowing;

@implementation AppDelegateAppKit {
    InstallerCore::AppDelegate* _flow;
    BOOL _terminates;
}

- (instancetype)initWithFlow:(InstallerCore::AppDelegate&)flow {
    self = [super init];
    if (self != nil) {
        _flow = &flow;
    }
    return self;
}

- (void)start:(id)sender {
    withoutThrowing([&] { _flow->start(); });
}

// Later, since the flow may say so while it is asked whether the application may end.
- (void)terminate {
    _terminates = YES;
    dispatch_async(dispatch_get_main_queue(), ^{
        [NSApp terminate:nil];
    });
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
    withoutThrowing([&] { _flow->applicationDidFinishLaunching(); });
}

- (BOOL)windowShouldClose:(NSWindow*)sender {
    return withoutThrowing([&] { return _flow->windowShouldClose(); });
}

// From the menu, the Dock or the end of the session.
- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)sender {
    const bool mayEnd = withoutThrowing([&] { return _terminates || _flow->windowShouldClose(); });
    return mayEnd ? NSTerminateNow : NSTerminateCancel;
}

// The process ends without destructors: the background may still be at work, and is made to be cut off
// anywhere. What is registered last is called first.
- (void)applicationWillTerminate:(NSNotification*)notification {
    std::atexit([] { std::_Exit(EXIT_SUCCESS); });
}

- (BOOL)applicationSupportsSecureRestorableState:(NSApplication*)application {
    return YES;
}

@end
