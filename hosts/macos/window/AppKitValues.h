#pragma once

#include "KavioInstaller/Geometry.h"

#import <AppKit/AppKit.h>

// The shell's values in AppKit's terms.
namespace InstallerCore {

[[nodiscard]] NSColor* toAppKit(const Color& color);
[[nodiscard]] NSRect toAppKit(const Rect& rectangle);
[[nodiscard]] NSFont* toAppKit(const Font& font);
[[nodiscard]] NSTextAlignment toAppKit(TextAlignment alignment);

// What there is to draw on.
[[nodiscard]] Size sizeOf(NSView* view);

} // namespace InstallerCore
