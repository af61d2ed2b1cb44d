#include "hosts/macos/window/MainMenu.h"

#include "KavioInstaller/InstallerWindow.h"
#include "hosts/macos/FoundationValues.h"

namespace InstallerCore {

NSMenu* makeMainMenu() {
    NSMenu* application = [[NSMenu alloc] init];
    const std::string quit = std::string("Quit ") + InstallerWindow::title;
    [application addItemWithTitle:toNSString(quit) action:@selector(terminate:) keyEquivalent:@"q"];
    NSMenuItem* item = [[NSMenuItem alloc] init];
    item.submenu = application;
    NSMenu* menu = [[NSMenu alloc] init];
    [menu addItem:item];
    return menu;
}

} // namespace InstallerCore
