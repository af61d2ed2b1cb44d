#pragma once

#include <Foundation/NSEnumerator.h>
#include <Foundation/NSObject.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSArray<__covariant ObjectType>
    : NSObject <NSCopying, NSMutableCopying, NSSecureCoding, NSFastEnumeration>
@end

NS_ASSUME_NONNULL_END
