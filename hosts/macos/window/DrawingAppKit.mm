#include "hosts/macos/window/DrawingAppKit.h"

#include "hosts/macos/FoundationValues.h"
#include "hosts/macos/window/AppKitValues.h"

namespace InstallerCore {

namespace {

// Left to right whatever the user's language, as the default would not be.
NSParagraphStyle* leftToRight() {
    static NSParagraphStyle* const style = [] {
        NSMutableParagraphStyle* made = [[NSMutableParagraphStyle alloc] init];
        made.alignment = NSTextAlignmentLeft;
        made.baseWritingDirection = NSWritingDirectionLeftToRight;
        return made;
    }();
    return style;
}

NSBezierPath* roundedPath(const Rect& rectangle, double radius) {
    return [NSBezierPath bezierPathWithRoundedRect:toAppKit(rectangle) xRadius:radius yRadius:radius];
}

struct DrawingAppKit {
    void operator()(const FillRoundedRectangle& operation) const {
        [toAppKit(operation.color) setFill];
        [roundedPath(operation.rectangle, operation.radius) fill];
    }

    // From point to point, since an angle would turn with the view's coordinates.
    void operator()(const FillGradient& operation) const {
        const Rect& rectangle = operation.rectangle;
        NSGradient* gradient = [[NSGradient alloc] initWithStartingColor:toAppKit(operation.top)
                                                             endingColor:toAppKit(operation.bottom)];
        [NSGraphicsContext saveGraphicsState];
        NSRectClip(toAppKit(rectangle));
        [gradient drawFromPoint:NSMakePoint(rectangle.x, rectangle.y)
                        toPoint:NSMakePoint(rectangle.x, rectangle.y + rectangle.height)
                        options:0];
        [NSGraphicsContext restoreGraphicsState];
    }

    // The offset has the sign that it would need in a view that is not flipped: a shadow is said to heed no
    // transformation. That it falls down here too is for a look at the window to show.
    void operator()(const FillShadowed& operation) const {
        NSShadow* shadow = [[NSShadow alloc] init];
        shadow.shadowColor = toAppKit(operation.shadow);
        shadow.shadowBlurRadius = operation.blurRadius;
        shadow.shadowOffset = NSMakeSize(operation.offset.x, -operation.offset.y);
        [NSGraphicsContext saveGraphicsState];
        [shadow set];
        (*this)(operation.shape);
        [NSGraphicsContext restoreGraphicsState];
    }

    void operator()(const DrawText& operation) const {
        [toNSString(operation.text) drawInRect:toAppKit(operation.frame)
                                withAttributes:@{
                                    NSFontAttributeName : toAppKit(operation.font),
                                    NSForegroundColorAttributeName : toAppKit(operation.color),
                                    NSParagraphStyleAttributeName : leftToRight()
                                }];
    }

    void operator()(const BeginClip& operation) const {
        [NSGraphicsContext saveGraphicsState];
        [roundedPath(operation.rectangle, operation.radius) addClip];
    }

    void operator()(const EndClip& /*operation*/) const { [NSGraphicsContext restoreGraphicsState]; }
};

} // namespace

void drawWithAppKit(const Drawing& drawing) {
    for (const DrawingOperation& operation : drawing) {
        std::visit(DrawingAppKit(), operation);
    }
}

} // namespace InstallerCore
