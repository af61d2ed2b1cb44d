#pragma once

#include <Foundation/NSObject.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSNotification : NSObject <NSCopying, NSCoding>
@end

NS_ASSUME_NONNULL_END
