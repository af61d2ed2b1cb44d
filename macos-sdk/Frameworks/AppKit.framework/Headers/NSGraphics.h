#pragma once

#include <AppKit/AppKitDefines.h>
#include <Foundation/Foundation.h>

typedef NS_ENUM(NSUInteger, NSBackingStoreType) {
    NSBackingStoreBuffered = 2,
} API_AVAILABLE(macos(10.0));

APPKIT_EXTERN void NSBeep(void) API_AVAILABLE(macos(10.0));
APPKIT_EXTERN void NSRectClip(NSRect rectangle) API_AVAILABLE(macos(10.0));
