#include "hosts/macos/window/ArchiveRefusal.h"

#import <Foundation/Foundation.h>

#include <cstdlib>

namespace InstallerCore {

void refuseArchive() {
    NSLog(@"init(coder:) has not been implemented");
    std::abort();
}

} // namespace InstallerCore
