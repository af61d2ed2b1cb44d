#pragma once

#include <Foundation/NSObject.h>

@class NSData;
@class NSError;

NS_ASSUME_NONNULL_BEGIN

typedef NS_OPTIONS(NSUInteger, NSPropertyListMutabilityOptions) {
    NSPropertyListImmutable = 0,
} API_AVAILABLE(macos(10.0));
typedef NSPropertyListMutabilityOptions NSPropertyListReadOptions;

typedef NS_ENUM(NSUInteger, NSPropertyListFormat) {
    NSPropertyListXMLFormat_v1_0 = 100,
    NSPropertyListBinaryFormat_v1_0 = 200,
} API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.0))
@interface NSPropertyListSerialization : NSObject
+ (nullable id)propertyListWithData:(NSData*)data
                            options:(NSPropertyListReadOptions)options
                             format:(nullable NSPropertyListFormat*)format
                              error:(NSError* _Nullable* _Nullable)error API_AVAILABLE(macos(10.6));
@end

NS_ASSUME_NONNULL_END
