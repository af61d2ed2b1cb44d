#pragma once

#include <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

typedef NSString* AVLayerVideoGravity;

FOUNDATION_EXPORT AVLayerVideoGravity const AVLayerVideoGravityResizeAspect API_AVAILABLE(macos(10.7));

NS_ASSUME_NONNULL_END
