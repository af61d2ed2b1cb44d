#pragma once

#include <Foundation/NSObjCRuntime.h>

// Codes of NSCocoaErrorDomain.
NS_ENUM(NSInteger){
    NSFileNoSuchFileError = 4,
    NSFileReadUnknownError = 256,
    NSFileReadNoPermissionError = 257,
    NSFileReadNoSuchFileError = 260,
    NSFileReadInapplicableStringEncodingError = 261,
    NSFileReadTooLargeError API_AVAILABLE(macos(10.5)) = 263,
    NSFileWriteUnknownError = 512,
    NSFileWriteNoPermissionError = 513,
    NSFileWriteInvalidFileNameError = 514,
    NSFileWriteFileExistsError API_AVAILABLE(macos(10.7)) = 516,
    NSFileWriteOutOfSpaceError = 640,
    NSFileWriteVolumeReadOnlyError API_AVAILABLE(macos(10.6)) = 642,
} API_AVAILABLE(macos(10.0));
