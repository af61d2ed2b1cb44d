#pragma once

#include <AppKit/NSAccessibilityConstants.h>
#include <AppKit/NSAccessibilityProtocols.h>

NS_ASSUME_NONNULL_BEGIN

APPKIT_EXTERN void NSAccessibilityPostNotification(id element, NSAccessibilityNotificationName notification)
    API_AVAILABLE(macos(10.0));
APPKIT_EXTERN void NSAccessibilityPostNotificationWithUserInfo(
    id element, NSAccessibilityNotificationName notification,
    NSDictionary<NSAccessibilityNotificationUserInfoKey, id>* _Nullable information)
    API_AVAILABLE(macos(10.7));

NS_ASSUME_NONNULL_END
