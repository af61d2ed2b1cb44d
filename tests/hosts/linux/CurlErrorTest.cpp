#include "hosts/linux/CurlError.h"

#include <gtest/gtest.h>

#include <string_view>
#include <utility>

namespace InstallerCore {

namespace {

TEST(CurlErrorTest, CodesHaveTheirMeaning) {
    const std::pair<CURLcode, UrlErrorCode> cases[] = {
        {CURLE_COULDNT_RESOLVE_HOST, UrlErrorCode::cannotFindHost},
        {CURLE_COULDNT_RESOLVE_PROXY, UrlErrorCode::cannotFindHost},
        {CURLE_COULDNT_CONNECT, UrlErrorCode::cannotConnect},
        {CURLE_PROXY, UrlErrorCode::cannotConnect},
        {CURLE_OPERATION_TIMEDOUT, UrlErrorCode::timedOut},
        {CURLE_PARTIAL_FILE, UrlErrorCode::connectionLost},
        {CURLE_RECV_ERROR, UrlErrorCode::connectionLost},
        {CURLE_SEND_ERROR, UrlErrorCode::connectionLost},
        {CURLE_GOT_NOTHING, UrlErrorCode::connectionLost},
        {CURLE_HTTP2, UrlErrorCode::connectionLost},
        {CURLE_HTTP2_STREAM, UrlErrorCode::connectionLost},
        {CURLE_SSL_CONNECT_ERROR, UrlErrorCode::secureConnectionFailed},
        {CURLE_SSL_CIPHER, UrlErrorCode::secureConnectionFailed},
        {CURLE_SSL_CACERT_BADFILE, UrlErrorCode::secureConnectionFailed},
        {CURLE_PEER_FAILED_VERIFICATION, UrlErrorCode::certificateRejected},
        {CURLE_SSL_ISSUER_ERROR, UrlErrorCode::certificateRejected},
        {CURLE_WEIRD_SERVER_REPLY, UrlErrorCode::badServerResponse},
        {CURLE_UNSUPPORTED_PROTOCOL, UrlErrorCode::badServerResponse},
        {CURLE_BAD_CONTENT_ENCODING, UrlErrorCode::badServerResponse},
        {CURLE_BAD_FUNCTION_ARGUMENT, UrlErrorCode::badServerResponse},
        {CURLE_OUT_OF_MEMORY, UrlErrorCode::badServerResponse},
        {static_cast<CURLcode>(100), UrlErrorCode::badServerResponse},
        {CURLE_READ_ERROR, UrlErrorCode::unknown},
    };
    for (const auto& [curl, code] : cases) {
        EXPECT_EQ(urlError(curl).domain(), ErrorDomain::urlLoading) << curl;
        EXPECT_EQ(urlError(curl).code(), static_cast<int>(code)) << curl;
    }
}

// Whatever libcurl reports, its words stay out, and so do the words by which a retry is ruled out.
TEST(CurlErrorTest, NoDescriptionRulesOutARetry) {
    for (int code = 1; code < CURL_LAST; ++code) {
        const PlatformError error = urlError(static_cast<CURLcode>(code));
        const std::string_view description = error.what();
        EXPECT_EQ(description, PlatformError(static_cast<UrlErrorCode>(error.code())).what());
        for (const std::string_view word : {"hash mismatch", "HTTP 4", "range", "Untrusted"}) {
            EXPECT_EQ(description.find(word), std::string_view::npos) << code << ": " << description;
        }
    }
}

} // namespace

} // namespace InstallerCore
