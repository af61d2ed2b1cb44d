#pragma once

#include <CoreFoundation/CFBase.h>

CF_ENUM(OSStatus){
    errSecSuccess = 0,
} API_AVAILABLE(macos(10.0));
