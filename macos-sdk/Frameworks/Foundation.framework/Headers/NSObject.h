#pragma once

#include <Foundation/NSObjCRuntime.h>
#include <objc/NSObject.h>

NS_ASSUME_NONNULL_BEGIN

typedef struct _NSZone NSZone;

@class NSCoder;

API_AVAILABLE(macos(10.0))
@protocol NSCopying
- (id)copyWithZone:(nullable NSZone*)zone;
@end

API_AVAILABLE(macos(10.0))
@protocol NSMutableCopying
- (id)mutableCopyWithZone:(nullable NSZone*)zone;
@end

API_AVAILABLE(macos(10.0))
@protocol NSCoding
- (void)encodeWithCoder:(NSCoder*)coder;
- (nullable instancetype)initWithCoder:(NSCoder*)coder;
@end

API_AVAILABLE(macos(10.0))
@protocol NSSecureCoding <NSCoding>
@property(class, readonly) BOOL supportsSecureCoding;
@end

NS_ASSUME_NONNULL_END
