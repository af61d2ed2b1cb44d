#pragma once

#include <AppKit/AppKitDefines.h>
#include <TargetConditionals.h>

// Not the same on Intel.
typedef NS_ENUM(NSInteger, NSTextAlignment) {
    NSTextAlignmentLeft = 0,
#if TARGET_ABI_USES_IOS_VALUES
    NSTextAlignmentRight = 2,
#else
    NSTextAlignmentRight = 1,
#endif
} API_AVAILABLE(macos(10.0));

typedef NS_ENUM(NSInteger, NSWritingDirection) {
    NSWritingDirectionLeftToRight = 0,
    NSWritingDirectionRightToLeft = 1,
} API_AVAILABLE(macos(10.0));
