#pragma once

#include "InstallerCore/support/PlatformError.h"

#include <cstdint>
#include <utility>

namespace InstallerCore {

// What Foundation's error codes become; each domain has its numbers. A code that is not listed is the unknown
// one.

// Of NSURLErrorDomain.
[[nodiscard]] constexpr UrlErrorCode urlErrorCodeOf(std::int64_t code) {
    switch (code) {
    case -999: // cancelled
        return UrlErrorCode::cancelled;
    case -1001: // timed out
        return UrlErrorCode::timedOut;
    case -1003: // cannot find host
    case -1006: // DNS lookup failed
        return UrlErrorCode::cannotFindHost;
    case -1004: // cannot connect to host
    case -1009: // not connected to the Internet
    case -1018: // international roaming off
    case -1019: // call is active
    case -1020: // data not allowed
        return UrlErrorCode::cannotConnect;
    case -1005: // network connection lost
        return UrlErrorCode::connectionLost;
    case -1007: // too many redirects
        return UrlErrorCode::tooManyRedirects;
    case -1002: // unsupported address
    case -1010: // redirect to nowhere
    case -1011: // bad server response
    case -1014: // no bytes
    case -1015: // cannot decode raw data
    case -1016: // cannot decode content
    case -1017: // cannot parse response
    case -1103: // data too long
        return UrlErrorCode::badServerResponse;
    case -1022: // not secure enough for this application
    case -1200: // secure connection failed
    case -1205: // client certificate rejected
    case -1206: // client certificate required
        return UrlErrorCode::secureConnectionFailed;
    case -1201: // the server's certificate: out of date
    case -1202: // untrusted
    case -1203: // of an unknown root
    case -1204: // not yet valid
        return UrlErrorCode::certificateRejected;
    default:
        return UrlErrorCode::unknown;
    }
}

// Of NSPOSIXErrorDomain, which loading an address passes on at times: macOS's errno of a socket.
[[nodiscard]] constexpr UrlErrorCode urlErrorCodeOfErrno(std::int64_t code) {
    switch (code) {
    case 32: // EPIPE
    case 53: // ECONNABORTED
    case 54: // ECONNRESET
    case 57: // ENOTCONN
        return UrlErrorCode::connectionLost;
    case 50: // ENETDOWN
    case 51: // ENETUNREACH
    case 61: // ECONNREFUSED
    case 64: // EHOSTDOWN
    case 65: // EHOSTUNREACH
        return UrlErrorCode::cannotConnect;
    case 60: // ETIMEDOUT
        return UrlErrorCode::timedOut;
    default:
        return UrlErrorCode::unknown;
    }
}

// Of NSCocoaErrorDomain, for files.
[[nodiscard]] constexpr FileErrorCode fileErrorCodeOf(std::int64_t code) {
    if (!std::in_range<int>(code)) {
        return FileErrorCode::readUnknown;
    }
    switch (const auto file = static_cast<FileErrorCode>(code); file) {
    case FileErrorCode::noSuchFile:
    case FileErrorCode::readUnknown:
    case FileErrorCode::readNoPermission:
    case FileErrorCode::readNoSuchFile:
    case FileErrorCode::readNotText:
    case FileErrorCode::readTooLarge:
    case FileErrorCode::writeUnknown:
    case FileErrorCode::writeNoPermission:
    case FileErrorCode::writeInvalidName:
    case FileErrorCode::writeFileExists:
    case FileErrorCode::writeOutOfSpace:
    case FileErrorCode::writeVolumeReadOnly:
        return file;
    case FileErrorCode::notRegularFile:
        break; // a number of our own
    }
    constexpr std::int64_t firstWriteCode = 512;
    constexpr std::int64_t endOfFileCodes = 1024;
    const bool isWrite = code >= firstWriteCode && code < endOfFileCodes;
    return isWrite ? FileErrorCode::writeUnknown : FileErrorCode::readUnknown;
}

} // namespace InstallerCore
