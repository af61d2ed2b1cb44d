#pragma once

#include <CoreFoundation/CFAvailability.h>
#include <MacTypes.h>

CF_EXTERN_C_BEGIN

typedef unsigned long CFTypeID;
typedef signed long CFIndex;
typedef const void* CFTypeRef;

void CFRelease(CFTypeRef _Null_unspecified object) API_AVAILABLE(macos(10.0));
CFTypeID CFGetTypeID(CFTypeRef _Null_unspecified object) API_AVAILABLE(macos(10.0));

CF_EXTERN_C_END
