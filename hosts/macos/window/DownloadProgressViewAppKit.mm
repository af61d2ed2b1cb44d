#include "hosts/macos/window/DownloadProgressViewAppKit.h"

#include "hosts/macos/WithoutThrowing.h"
#include "hosts/macos/window/AppKitValues.h"
#include "hosts/macos/window/ArchiveRefusal.h"
#include "hosts/macos/window/DrawingAppKit.h"

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
    std::optional<double> _announced;
}

- (instancetype)initWithFrame:(NSRect)frame {
    self = [super initWithFrame:frame];
    if (self != nil) {
        self.wantsLayer = YES;
        self.accessibilityElement = YES;
        self.accessibilityRole = NSAccessibilityProgressIndicatorRole;
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
    _value = value;
    self.accessibilityMinValue = @(value.minValue);
    self.accessibilityMaxValue = @(value.maxValue);
    [self announce];
    [self pulse];
    self.needsDisplay = YES;
}

- (void)announce {
    const auto drawn = _value.draw(InstallerCore::sizeOf(self)).value;
    if (!drawn || drawn->number == _announced) {
        return;
    }
    _announced = drawn->number;
    self.accessibilityValue = _announced ? @(*_announced) : nil;
    NSAccessibilityPostNotification(self, NSAccessibilityValueChangedNotification);
}

- (void)pulse {
    if (!_value.activity) {
        [self.layer removeAnimationForKey:activityKey];
    } else if ([self.layer animationForKey:activityKey] == nil) {
        [self.layer addAnimation:toCoreAnimation(*_value.activity) forKey:activityKey];
    }
}

- (void)drawRect:(NSRect)dirty {
    InstallerCore::withoutThrowing(
        [&] { InstallerCore::drawWithAppKit(_value.draw(InstallerCore::sizeOf(self)).operations); });
}

@end
