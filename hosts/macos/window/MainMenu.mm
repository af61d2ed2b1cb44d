#include "hosts/macos/window/MainMenu.h"

namespace InstallerCore {

NSMenu* makeMainMenu() {
    NSMenu* application = [[NSMenu alloc] init];
    [application addItemWithTitle:@"Quit Kavio Installer" action:@selector(terminate:) keyEquivalent:@"q"];
    NSMenuItem* item = [[NSMenuItem alloc] init];
    item.submenu = application;
    NSMenu* menu = [[NSMenu alloc] init];
    [menu addItem:item];
    return menu;
}

} // namespace InstallerCore
