#pragma once

#include <CoreFoundation/CFCGTypes.h>
#include <Foundation/Foundation.h>

typedef double CFTimeInterval;
