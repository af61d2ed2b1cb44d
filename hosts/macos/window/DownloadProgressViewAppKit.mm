#include "hosts/macos/window/DownloadProgressViewAppKit.h"

#include "KavioInstaller/Announcements.h"
#include "hosts/macos/window/AppKitValues.h"
#include "hosts/macos/window/ArchiveRefusal.h"
#include "hosts/macos/window/DrawingAppKit.h"
#include "hosts/macos/window/WithoutThrowing.h"

#import <QuartzCore/QuartzCore.h>

#include <cmath>
#include <optional>

using InstallerCore::ActivityAnimation;

namespace {

NSString* const activityKey = @"activity";

CAAnimation* toCoreAnimation(const ActivityAnimation& activity) {
    CABasicAnimation* animation = [CABasicAnimation animationWithKeyPath:@"opacity"];
    animation.fromValue = @(activity.fromOpacity);
    animation.toValue = @(activity.toOpacity);
    animation.duration = activity.seconds;
    animation.autoreverses = YES;
    animation.repeatCount = HUGE_VALF;
    return animation;
}

} // namespace

@implementation DownloadProgressViewAppKit {
    InstallerCore::DownloadProgressView _value;
    InstallerCore::ProgressAnnouncements _announcements;
}

- (instancetype)initWithFrame:(NSRect)frame {
    self = [super initWithFrame:frame];
    if (self != nil) {
        self.wantsLayer = YES;
        self.accessibilityElement = YES;
        self.accessibilityRole = NSAccessibilityProgressIndicatorRole;
        [self announce];
    }
    return self;
}

- (instancetype)initWithCoder:(NSCoder*)coder {
    InstallerCore::refuseArchive();
}

- (BOOL)isFlipped {
    return YES;
}

- (void)show:(const InstallerCore::DownloadProgressView&)value {
    [self pulse:value.activity];
    if (value == _value) {
        return;
    }
    _value = value;
    [self announce];
    self.needsDisplay = YES;
}

- (void)announce {
    self.accessibilityMinValue = @(_value.minValue);
    self.accessibilityMaxValue = @(_value.maxValue);
    if (_announcements.take(_value.draw(InstallerCore::sizeOf(self)).value)) {
        const auto number = _announcements.value();
        self.accessibilityValue = number ? @(*number) : nil;
        NSAccessibilityPostNotification(self, NSAccessibilityValueChangedNotification);
    }
}

// Nothing happens while it pulses as it is.
- (void)pulse:(const std::optional<ActivityAnimation>&)activity {
    if (!activity) {
        [self.layer removeAnimationForKey:activityKey];
    } else if ([self.layer animationForKey:activityKey] == nil) {
        [self.layer addAnimation:toCoreAnimation(*activity) forKey:activityKey];
    }
}

- (void)drawRect:(NSRect)dirty {
    InstallerCore::withoutThrowing(
        [&] { InstallerCore::drawWithAppKit(_value.draw(InstallerCore::sizeOf(self)).operations); });
}

@end
