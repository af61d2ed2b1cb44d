#pragma once

#include <Foundation/NSObject.h>

API_AVAILABLE(macos(10.0))
@interface NSFormatter : NSObject <NSCopying, NSCoding>
@end
