#pragma once

#include <Foundation/NSObject.h>

@class NSDictionary;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.2))
@interface NSURLResponse : NSObject <NSSecureCoding, NSCopying>
@end

API_AVAILABLE(macos(10.2))
@interface NSHTTPURLResponse : NSURLResponse
@property(readonly) NSInteger statusCode;
@property(readonly, copy) NSDictionary* allHeaderFields;
@end

NS_ASSUME_NONNULL_END
