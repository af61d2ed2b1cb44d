#pragma once

#include <CoreFoundation/CFBase.h>

typedef CF_ENUM(uint16_t, tls_protocol_version_t) {
    tls_protocol_version_TLSv12 = 0x0303,
} API_AVAILABLE(macos(10.15));
