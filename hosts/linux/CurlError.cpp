#include "hosts/linux/CurlError.h"

namespace InstallerCore {

namespace {

constexpr int curlTooLarge = 100; // CURLE_TOO_LARGE, where the header knows it

UrlErrorCode urlErrorCode(CURLcode code) {
    switch (static_cast<int>(code)) { // the library adds codes from version to version
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return UrlErrorCode::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
        return UrlErrorCode::cannotConnect;
    case CURLE_OPERATION_TIMEDOUT:
        return UrlErrorCode::timedOut;
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        return UrlErrorCode::connectionLost;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE: // the system's own authorities cannot be read
        return UrlErrorCode::secureConnectionFailed;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
        return UrlErrorCode::certificateRejected;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_BAD_FUNCTION_ARGUMENT: // what it says of a trailer without a colon
    case CURLE_OUT_OF_MEMORY:         // what libcurl 7 says of a header line beyond its limit
    case curlTooLarge:                // and libcurl 8
        return UrlErrorCode::badServerResponse;
    default:
        return UrlErrorCode::unknown;
    }
}

} // namespace

PlatformError urlError(CURLcode code) {
    return PlatformError(urlErrorCode(code));
}

} // namespace InstallerCore
