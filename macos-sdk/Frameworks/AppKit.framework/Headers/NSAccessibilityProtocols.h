#pragma once

#include <AppKit/NSAccessibilityConstants.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.10))
@protocol NSAccessibility <NSObject>
@property(getter=isAccessibilityElement) BOOL accessibilityElement;
@property(nullable, copy) NSString* accessibilityLabel;
@property(nullable, strong) id accessibilityMaxValue;
@property(nullable, strong) id accessibilityMinValue;
@property(nullable, copy) NSAccessibilityRole accessibilityRole;
@property(nullable, strong) id accessibilityValue;
@end

NS_ASSUME_NONNULL_END
