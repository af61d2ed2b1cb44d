#pragma once

#include <CoreFoundation/CFBase.h>

CF_ENUM(OSStatus){
    errSecSuccess = 0,
};
