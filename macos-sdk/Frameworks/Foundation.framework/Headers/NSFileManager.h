#pragma once

#include <Foundation/NSDictionary.h>
#include <Foundation/NSObject.h>

@class NSError;
@class NSString;

NS_ASSUME_NONNULL_BEGIN

typedef NSString* NSFileAttributeKey;

FOUNDATION_EXPORT NSFileAttributeKey const NSFileSystemFreeSize API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.0))
@interface NSFileManager : NSObject
@property(class, readonly, strong) NSFileManager* defaultManager;
- (nullable NSDictionary<NSFileAttributeKey, id>*)
    attributesOfFileSystemForPath:(NSString*)path
                            error:(NSError* _Nullable* _Nullable)error API_AVAILABLE(macos(10.5));
- (NSString*)stringWithFileSystemRepresentation:(const char*)path length:(NSUInteger)length;
@end

NS_ASSUME_NONNULL_END
