#pragma once

#include <Foundation/NSObject.h>

@class NSString;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSURL : NSObject <NSSecureCoding, NSCopying>
@property(nullable, readonly, copy) NSString* absoluteString;
@property(readonly) const char* fileSystemRepresentation NS_RETURNS_INNER_POINTER API_AVAILABLE(macos(10.9));
+ (nullable instancetype)URLWithString:(NSString*)text;
+ (NSURL*)fileURLWithFileSystemRepresentation:(const char*)path
                                  isDirectory:(BOOL)isDirectory
                                relativeToURL:(nullable NSURL*)base API_AVAILABLE(macos(10.9));
@end

NS_ASSUME_NONNULL_END
