#pragma once

#include <Foundation/NSObject.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSValue : NSObject <NSCopying, NSSecureCoding>
@end

API_AVAILABLE(macos(10.0))
@interface NSNumber : NSValue
@property(readonly) BOOL boolValue;
@property(readonly) double doubleValue;
@property(readonly) long long longLongValue;
+ (NSNumber*)numberWithDouble:(double)value;
+ (NSNumber*)numberWithInteger:(NSInteger)value API_AVAILABLE(macos(10.5));
@end

NS_ASSUME_NONNULL_END
