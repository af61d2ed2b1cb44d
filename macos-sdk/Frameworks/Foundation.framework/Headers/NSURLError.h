#pragma once

#include <Foundation/NSError.h>

NS_ASSUME_NONNULL_BEGIN

FOUNDATION_EXPORT NSErrorDomain const NSURLErrorDomain API_AVAILABLE(macos(10.0));

NS_ENUM(NSInteger){
    NSURLErrorUnknown = -1,
    NSURLErrorCancelled = -999,
    NSURLErrorTimedOut = -1001,
    NSURLErrorUnsupportedURL = -1002,
    NSURLErrorCannotFindHost = -1003,
    NSURLErrorCannotConnectToHost = -1004,
    NSURLErrorNetworkConnectionLost = -1005,
    NSURLErrorDNSLookupFailed = -1006,
    NSURLErrorHTTPTooManyRedirects = -1007,
    NSURLErrorNotConnectedToInternet = -1009,
    NSURLErrorRedirectToNonExistentLocation = -1010,
    NSURLErrorBadServerResponse = -1011,
    NSURLErrorZeroByteResource = -1014,
    NSURLErrorCannotDecodeRawData = -1015,
    NSURLErrorCannotDecodeContentData = -1016,
    NSURLErrorCannotParseResponse = -1017,
    NSURLErrorInternationalRoamingOff API_AVAILABLE(macos(10.7)) = -1018,
    NSURLErrorCallIsActive API_AVAILABLE(macos(10.7)) = -1019,
    NSURLErrorDataNotAllowed API_AVAILABLE(macos(10.7)) = -1020,
    NSURLErrorAppTransportSecurityRequiresSecureConnection API_AVAILABLE(macos(10.11)) = -1022,
    NSURLErrorDataLengthExceedsMaximum API_AVAILABLE(macos(10.5)) = -1103,
    NSURLErrorSecureConnectionFailed = -1200,
    NSURLErrorServerCertificateHasBadDate = -1201,
    NSURLErrorServerCertificateUntrusted = -1202,
    NSURLErrorServerCertificateHasUnknownRoot = -1203,
    NSURLErrorServerCertificateNotYetValid = -1204,
    NSURLErrorClientCertificateRejected = -1205,
    NSURLErrorClientCertificateRequired = -1206,
} API_AVAILABLE(macos(10.0));

NS_ASSUME_NONNULL_END
