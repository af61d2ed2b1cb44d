#pragma once

#include <AppKit/AppKitDefines.h>

typedef NS_ENUM(NSUInteger, NSBezelStyle) {
    NSBezelStyleRounded API_AVAILABLE(macos(10.12)) = 1,
};
