#pragma once

#include <Foundation/NSObject.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.5))
@interface NSOperationQueue : NSObject
@property NSInteger maxConcurrentOperationCount;
@property NSQualityOfService qualityOfService API_AVAILABLE(macos(10.10));
@end

NS_ASSUME_NONNULL_END
