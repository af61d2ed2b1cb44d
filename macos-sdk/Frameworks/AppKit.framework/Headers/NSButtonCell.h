#pragma once

#include <AppKit/AppKitDefines.h>

typedef NS_ENUM(NSUInteger, NSBezelStyle) {
    NSBezelStyleRounded = 1,
} API_AVAILABLE(macos(10.0));
