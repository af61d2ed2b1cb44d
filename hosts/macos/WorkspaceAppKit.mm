#include "hosts/macos/WorkspaceAppKit.h"

#include "hosts/macos/FoundationValues.h"

#import <AppKit/AppKit.h>
#include <unistd.h>

namespace InstallerCore {

bool WorkspaceAppKit::isRunning(const std::string& bundleIdentifier) const {
    @autoreleasepool {
        NSString* const identifier = fromUtf8(bundleIdentifier);
        if (identifier.length == 0) { // which is no application's
            return false;
        }
        for (NSRunningApplication* application in
             [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier]) {
            if (application.processIdentifier != ::getpid()) {
                return true;
            }
        }
        return false;
    }
}

} // namespace InstallerCore
