#pragma once

#include <Foundation/NSObject.h>

typedef double NSTimeInterval;
