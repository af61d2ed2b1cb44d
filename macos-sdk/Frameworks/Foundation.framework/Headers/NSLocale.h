#pragma once

#include <Foundation/NSArray.h>
#include <Foundation/NSObject.h>

@class NSString;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSLocale : NSObject <NSCopying, NSSecureCoding>
@property(class, readonly, copy) NSArray<NSString*>* preferredLanguages API_AVAILABLE(macos(10.5));
+ (instancetype)localeWithLocaleIdentifier:(NSString*)identifier API_AVAILABLE(macos(10.6));
@end

NS_ASSUME_NONNULL_END
