#include "hosts/macos/FoundationErrors.h"

#include "hosts/shared/FoundationErrorCodes.h"

#include <cerrno>

namespace InstallerCore {

namespace {

// The numbers of the tables are those of the system.
static_assert(urlErrorCodeOf(NSURLErrorUnknown) == UrlErrorCode::unknown);
static_assert(urlErrorCodeOf(NSURLErrorCancelled) == UrlErrorCode::cancelled);
static_assert(urlErrorCodeOf(NSURLErrorTimedOut) == UrlErrorCode::timedOut);
static_assert(urlErrorCodeOf(NSURLErrorCannotFindHost) == UrlErrorCode::cannotFindHost);
static_assert(urlErrorCodeOf(NSURLErrorDNSLookupFailed) == UrlErrorCode::cannotFindHost);
static_assert(urlErrorCodeOf(NSURLErrorCannotConnectToHost) == UrlErrorCode::cannotConnect);
static_assert(urlErrorCodeOf(NSURLErrorNotConnectedToInternet) == UrlErrorCode::cannotConnect);
static_assert(urlErrorCodeOf(NSURLErrorInternationalRoamingOff) == UrlErrorCode::cannotConnect);
static_assert(urlErrorCodeOf(NSURLErrorCallIsActive) == UrlErrorCode::cannotConnect);
static_assert(urlErrorCodeOf(NSURLErrorDataNotAllowed) == UrlErrorCode::cannotConnect);
static_assert(urlErrorCodeOf(NSURLErrorNetworkConnectionLost) == UrlErrorCode::connectionLost);
static_assert(urlErrorCodeOf(NSURLErrorHTTPTooManyRedirects) == UrlErrorCode::tooManyRedirects);
static_assert(urlErrorCodeOf(NSURLErrorUnsupportedURL) == UrlErrorCode::badServerResponse);
static_assert(urlErrorCodeOf(NSURLErrorRedirectToNonExistentLocation) == UrlErrorCode::badServerResponse);
static_assert(urlErrorCodeOf(NSURLErrorBadServerResponse) == UrlErrorCode::badServerResponse);
static_assert(urlErrorCodeOf(NSURLErrorZeroByteResource) == UrlErrorCode::badServerResponse);
static_assert(urlErrorCodeOf(NSURLErrorCannotDecodeRawData) == UrlErrorCode::badServerResponse);
static_assert(urlErrorCodeOf(NSURLErrorCannotDecodeContentData) == UrlErrorCode::badServerResponse);
static_assert(urlErrorCodeOf(NSURLErrorCannotParseResponse) == UrlErrorCode::badServerResponse);
static_assert(urlErrorCodeOf(NSURLErrorDataLengthExceedsMaximum) == UrlErrorCode::badServerResponse);
static_assert(urlErrorCodeOf(NSURLErrorAppTransportSecurityRequiresSecureConnection) ==
              UrlErrorCode::secureConnectionFailed);
static_assert(urlErrorCodeOf(NSURLErrorSecureConnectionFailed) == UrlErrorCode::secureConnectionFailed);
static_assert(urlErrorCodeOf(NSURLErrorClientCertificateRejected) == UrlErrorCode::secureConnectionFailed);
static_assert(urlErrorCodeOf(NSURLErrorClientCertificateRequired) == UrlErrorCode::secureConnectionFailed);
static_assert(urlErrorCodeOf(NSURLErrorServerCertificateHasBadDate) == UrlErrorCode::certificateRejected);
static_assert(urlErrorCodeOf(NSURLErrorServerCertificateUntrusted) == UrlErrorCode::certificateRejected);
static_assert(urlErrorCodeOf(NSURLErrorServerCertificateHasUnknownRoot) == UrlErrorCode::certificateRejected);
static_assert(urlErrorCodeOf(NSURLErrorServerCertificateNotYetValid) == UrlErrorCode::certificateRejected);

static_assert(urlErrorCodeOfErrno(EPIPE) == UrlErrorCode::connectionLost);
static_assert(urlErrorCodeOfErrno(ECONNABORTED) == UrlErrorCode::connectionLost);
static_assert(urlErrorCodeOfErrno(ECONNRESET) == UrlErrorCode::connectionLost);
static_assert(urlErrorCodeOfErrno(ENOTCONN) == UrlErrorCode::connectionLost);
static_assert(urlErrorCodeOfErrno(ENETDOWN) == UrlErrorCode::cannotConnect);
static_assert(urlErrorCodeOfErrno(ENETUNREACH) == UrlErrorCode::cannotConnect);
static_assert(urlErrorCodeOfErrno(ECONNREFUSED) == UrlErrorCode::cannotConnect);
static_assert(urlErrorCodeOfErrno(EHOSTDOWN) == UrlErrorCode::cannotConnect);
static_assert(urlErrorCodeOfErrno(EHOSTUNREACH) == UrlErrorCode::cannotConnect);
static_assert(urlErrorCodeOfErrno(ETIMEDOUT) == UrlErrorCode::timedOut);

static_assert(fileErrorCodeOf(NSFileNoSuchFileError) == FileErrorCode::noSuchFile);
static_assert(fileErrorCodeOf(NSFileReadUnknownError) == FileErrorCode::readUnknown);
static_assert(fileErrorCodeOf(NSFileReadNoPermissionError) == FileErrorCode::readNoPermission);
static_assert(fileErrorCodeOf(NSFileReadNoSuchFileError) == FileErrorCode::readNoSuchFile);
static_assert(fileErrorCodeOf(NSFileReadInapplicableStringEncodingError) == FileErrorCode::readNotText);
static_assert(fileErrorCodeOf(NSFileReadTooLargeError) == FileErrorCode::readTooLarge);
static_assert(fileErrorCodeOf(NSFileWriteUnknownError) == FileErrorCode::writeUnknown);
static_assert(fileErrorCodeOf(NSFileWriteNoPermissionError) == FileErrorCode::writeNoPermission);
static_assert(fileErrorCodeOf(NSFileWriteInvalidFileNameError) == FileErrorCode::writeInvalidName);
static_assert(fileErrorCodeOf(NSFileWriteFileExistsError) == FileErrorCode::writeFileExists);
static_assert(fileErrorCodeOf(NSFileWriteOutOfSpaceError) == FileErrorCode::writeOutOfSpace);
static_assert(fileErrorCodeOf(NSFileWriteVolumeReadOnlyError) == FileErrorCode::writeVolumeReadOnly);

} // namespace

UrlErrorCode urlErrorCode(NSError* error) {
    if ([error.domain isEqualToString:NSURLErrorDomain]) {
        return urlErrorCodeOf(error.code);
    }
    if ([error.domain isEqualToString:NSPOSIXErrorDomain]) {
        return urlErrorCodeOfErrno(error.code);
    }
    return UrlErrorCode::unknown;
}

FileErrorCode fileErrorCode(NSError* error) {
    const bool isOfFiles = [error.domain isEqualToString:NSCocoaErrorDomain];
    return isOfFiles ? fileErrorCodeOf(error.code) : FileErrorCode::readUnknown;
}

} // namespace InstallerCore
