#include "hosts/macos/window/InstallerFooterBlendAppKit.h"

#include "KavioInstaller/InstallerFooterBlend.h"
#include "hosts/macos/window/AppKitValues.h"
#include "hosts/macos/window/DrawingAppKit.h"
#include "hosts/macos/window/WithoutThrowing.h"

@implementation InstallerFooterBlendAppKit

- (BOOL)isFlipped {
    return YES;
}

- (NSView*)hitTest:(NSPoint)point {
    return nil;
}

- (void)drawRect:(NSRect)dirty {
    InstallerCore::withoutThrowing([&] {
        InstallerCore::drawWithAppKit(InstallerCore::InstallerFooterBlend::draw(InstallerCore::sizeOf(self)));
    });
}

@end
