#include "hosts/macos/window/InstallerWindowAppKit.h"

#include "hosts/macos/FoundationValues.h"
#include "hosts/macos/window/AppDelegateAppKit.h"
#include "hosts/macos/window/AppKitValues.h"
#include "hosts/macos/window/DownloadProgressViewAppKit.h"
#include "hosts/macos/window/InstallerFooterBlendAppKit.h"
#include "hosts/macos/window/VideoIntroViewAppKit.h"

namespace InstallerCore {

namespace {

NSString* const returnKey = @"\r";

NSWindow* makeWindow() {
    constexpr Size size = InstallerWindow::contentSize;
    return [[NSWindow alloc]
        initWithContentRect:NSMakeRect(0, 0, size.width, size.height)
                  styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable |
                            NSWindowStyleMaskMiniaturizable | NSWindowStyleMaskFullSizeContentView
                    backing:NSBackingStoreBuffered
                      defer:NO];
}

void setLabel(NSTextField* field, const TextLabel& label) {
    field.font = toAppKit(label.font);
    field.alignment = toAppKit(label.alignment);
    field.baseWritingDirection =
        label.isRightToLeft ? NSWritingDirectionRightToLeft : NSWritingDirectionLeftToRight;
    field.stringValue = toNSString(label.text);
    field.hidden = label.isHidden;
}

// In an area that has the label's frame.
NSRect textFrame(NSTextField* field, const TextLabel& label, double width) {
    const NSRect area = NSMakeRect(0, 0, width, label.frame.height);
    const CGFloat height = [field.cell cellSizeForBounds:area].height;
    return label.isInMiddle && height < area.size.height
               ? NSMakeRect(0, (area.size.height - height) / 2, width, height)
               : area;
}

void setAction(NSButton* button, const PushButton& value) {
    button.frame = toAppKit(value.frame);
    button.title = toNSString(value.title);
    button.enabled = value.canBePressed(); // else its key would press it while it is hidden
    button.hidden = value.isHidden;
}

} // namespace

InstallerWindowAppKit::InstallerWindowAppKit(AppDelegateAppKit* delegate)
    : window_(makeWindow()),
      intro_([[VideoIntroViewAppKit alloc] initWithFrame:NSRect()]),
      footer_([[InstallerFooterBlendAppKit alloc] initWithFrame:NSRect()]),
      labelArea_([[NSView alloc] initWithFrame:NSRect()]),
      label_([NSTextField wrappingLabelWithString:@""]),
      bar_([[DownloadProgressViewAppKit alloc] initWithFrame:NSRect()]),
      percentage_([NSTextField labelWithString:@""]),
      action_([NSButton buttonWithTitle:@"" target:delegate action:@selector(start:)]) {
    setUpWindow(delegate);
    label_.selectable = NO; // which a wrapping label is at first
    [labelArea_ addSubview:label_];
    action_.bezelStyle = NSBezelStyleRounded;
    action_.keyEquivalent = returnKey;
    for (const auto each : InstallerWindow::order) {
        [window_.contentView addSubview:view(each)];
    }
}

void InstallerWindowAppKit::setUpWindow(AppDelegateAppKit* delegate) {
    window_.releasedWhenClosed = NO; // it is released with this object
    window_.restorable = NO;
    window_.title = toNSString(InstallerWindow::title);
    window_.titlebarAppearsTransparent = YES;
    window_.appearance = [NSAppearance appearanceNamed:NSAppearanceNameAqua];
    window_.backgroundColor = toAppKit(InstallerWindow::background);
    window_.delegate = delegate;
    [window_ center];
}

NSView* InstallerWindowAppKit::view(InstallerWindow::View view) const {
    switch (view) {
    case InstallerWindow::View::intro:
        return intro_;
    case InstallerWindow::View::footer:
        return footer_;
    case InstallerWindow::View::label:
        return labelArea_;
    case InstallerWindow::View::bar:
        return bar_;
    case InstallerWindow::View::percentage:
        return percentage_;
    case InstallerWindow::View::action:
        return action_;
    }
    return nil;
}

void InstallerWindowAppKit::show(const InstallerWindow& value) {
    intro_.frame = toAppKit(value.introFrame);
    [intro_ show:value.intro];
    footer_.frame = toAppKit(value.footerFrame);
    labelArea_.frame = toAppKit(value.label.frame);
    setLabel(label_, value.label);
    label_.frame = textFrame(label_, value.label, value.labelTextWidth());
    bar_.frame = toAppKit(value.barFrame);
    bar_.hidden = value.isBarHidden;
    bar_.accessibilityLabel = toNSString(value.barName());
    [bar_ show:value.bar];
    percentage_.frame = toAppKit(value.percentage.frame);
    setLabel(percentage_, value.percentage);
    setAction(action_, value.action);
    if (announcements_.take(value)) {
        announce(value.announcement());
    }
}

void InstallerWindowAppKit::announce(const std::string& text) {
    NSAccessibilityPostNotificationWithUserInfo(
        window_, NSAccessibilityAnnouncementRequestedNotification, @{
            NSAccessibilityAnnouncementKey : toNSString(text),
            NSAccessibilityPriorityKey : @(NSAccessibilityPriorityHigh)
        });
}

void InstallerWindowAppKit::orderFront() {
    [window_ makeKeyAndOrderFront:nil];
    [NSApp activateIgnoringOtherApps:YES];
}

void InstallerWindowAppKit::orderOut() {
    [window_ orderOut:nil];
}

} // namespace InstallerCore
