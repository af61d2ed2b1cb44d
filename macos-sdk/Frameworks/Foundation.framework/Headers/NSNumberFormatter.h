#pragma once

#include <Foundation/NSFormatter.h>

@class NSLocale;
@class NSNumber;
@class NSString;

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSUInteger, NSNumberFormatterStyle) {
    NSNumberFormatterPercentStyle = 3,
} API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.0))
@interface NSNumberFormatter : NSFormatter
@property NSNumberFormatterStyle numberStyle;
@property(null_resettable, copy) NSLocale* locale;
@property NSUInteger minimumFractionDigits;
@property NSUInteger maximumFractionDigits;
- (nullable NSString*)stringFromNumber:(NSNumber*)number;
@end

NS_ASSUME_NONNULL_END
