#pragma once

#include <AppKit/NSText.h>
#include <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSParagraphStyle : NSObject <NSCopying, NSMutableCopying, NSSecureCoding>
@end

API_AVAILABLE(macos(10.0))
@interface NSMutableParagraphStyle : NSParagraphStyle
@property NSTextAlignment alignment;
@property NSWritingDirection baseWritingDirection;
@end

NS_ASSUME_NONNULL_END
