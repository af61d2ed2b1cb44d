#include "hosts/macos/window/WelcomeViewAppKit.h"

#include "hosts/macos/window/AppKitValues.h"
#include "hosts/macos/window/DrawingAppKit.h"
#include "hosts/macos/window/WithoutThrowing.h"

@implementation WelcomeViewAppKit {
    InstallerCore::WelcomeView _value;
}

- (BOOL)isFlipped {
    return YES;
}

- (void)show:(const InstallerCore::WelcomeView&)value {
    if (value == _value) {
        return;
    }
    _value = value;
    self.needsDisplay = YES;
}

- (void)drawRect:(NSRect)dirty {
    InstallerCore::withoutThrowing(
        [&] { InstallerCore::drawWithAppKit(_value.draw(InstallerCore::sizeOf(self))); });
}

@end
