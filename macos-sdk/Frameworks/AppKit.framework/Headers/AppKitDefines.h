#pragma once

#include <Foundation/NSObjCRuntime.h>

#define APPKIT_EXTERN FOUNDATION_EXPORT
