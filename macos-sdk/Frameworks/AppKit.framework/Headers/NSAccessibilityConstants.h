#pragma once

#include <AppKit/AppKitDefines.h>
#include <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

typedef NSString* NSAccessibilityNotificationName;
typedef NSString* NSAccessibilityNotificationUserInfoKey;
typedef NSString* NSAccessibilityRole;

typedef NS_ENUM(NSInteger, NSAccessibilityPriorityLevel) {
    NSAccessibilityPriorityHigh = 90,
} API_AVAILABLE(macos(10.9));

APPKIT_EXTERN NSAccessibilityNotificationUserInfoKey const
    NSAccessibilityAnnouncementKey API_AVAILABLE(macos(10.7));
APPKIT_EXTERN NSAccessibilityNotificationUserInfoKey const
    NSAccessibilityPriorityKey API_AVAILABLE(macos(10.9));
APPKIT_EXTERN NSAccessibilityNotificationName const
    NSAccessibilityAnnouncementRequestedNotification API_AVAILABLE(macos(10.7));
APPKIT_EXTERN NSAccessibilityNotificationName const
    NSAccessibilityValueChangedNotification API_AVAILABLE(macos(10.0));
APPKIT_EXTERN NSAccessibilityRole const NSAccessibilityImageRole API_AVAILABLE(macos(10.0));
APPKIT_EXTERN NSAccessibilityRole const NSAccessibilityProgressIndicatorRole API_AVAILABLE(macos(10.0));

NS_ASSUME_NONNULL_END
