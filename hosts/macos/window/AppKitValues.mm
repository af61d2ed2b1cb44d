#include "hosts/macos/window/AppKitValues.h"

namespace InstallerCore {

namespace {

NSFontWeight toAppKit(FontWeight weight) {
    switch (weight) {
    case FontWeight::regular:
        return NSFontWeightRegular;
    case FontWeight::semibold:
        return NSFontWeightSemibold;
    case FontWeight::bold:
        return NSFontWeightBold;
    }
    return NSFontWeightRegular;
}

} // namespace

NSColor* toAppKit(const Color& color) {
    return [NSColor colorWithCalibratedRed:color.red green:color.green blue:color.blue alpha:color.alpha];
}

NSRect toAppKit(const Rect& rectangle) {
    return NSMakeRect(rectangle.x, rectangle.y, rectangle.width, rectangle.height);
}

NSFont* toAppKit(const Font& font) {
    const NSFontWeight weight = toAppKit(font.weight);
    return font.monospacedDigits ? [NSFont monospacedDigitSystemFontOfSize:font.size weight:weight]
                                 : [NSFont systemFontOfSize:font.size weight:weight];
}

NSTextAlignment toAppKit(TextAlignment alignment) {
    switch (alignment) {
    case TextAlignment::left:
        return NSTextAlignmentLeft;
    case TextAlignment::right:
        return NSTextAlignmentRight;
    }
    return NSTextAlignmentLeft;
}

Size sizeOf(NSView* view) {
    const NSSize size = view.bounds.size;
    return {.width = size.width, .height = size.height};
}

} // namespace InstallerCore
