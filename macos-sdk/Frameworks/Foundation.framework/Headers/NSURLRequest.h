#pragma once

#include <Foundation/NSDate.h>
#include <Foundation/NSObject.h>

@class NSString;
@class NSURL;

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSUInteger, NSURLRequestCachePolicy) {
    NSURLRequestReloadIgnoringLocalCacheData = 1,
} API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.2))
@interface NSURLRequest : NSObject <NSSecureCoding, NSCopying, NSMutableCopying>
@property(nullable, readonly, copy) NSURL* URL;
+ (instancetype)requestWithURL:(NSURL*)url
                   cachePolicy:(NSURLRequestCachePolicy)policy
               timeoutInterval:(NSTimeInterval)timeout;
@end

API_AVAILABLE(macos(10.2))
@interface NSMutableURLRequest : NSURLRequest
- (void)setValue:(nullable NSString*)value forHTTPHeaderField:(NSString*)name;
@end

NS_ASSUME_NONNULL_END
