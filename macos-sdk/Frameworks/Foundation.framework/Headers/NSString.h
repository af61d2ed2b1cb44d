#pragma once

#include <Foundation/NSObject.h>

@class NSData;

NS_ASSUME_NONNULL_BEGIN

typedef NSUInteger NSStringEncoding;
NS_ENUM(NSStringEncoding){
    NSUTF8StringEncoding = 4,
} API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.0))
@interface NSString : NSObject <NSCopying, NSMutableCopying, NSSecureCoding>
@property(readonly) NSUInteger length;
+ (nullable instancetype)stringWithUTF8String:(const char*)text;
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)length
                              encoding:(NSStringEncoding)encoding;
- (BOOL)isEqualToString:(NSString*)other;
- (nullable NSData*)dataUsingEncoding:(NSStringEncoding)encoding;
@end

NS_ASSUME_NONNULL_END
