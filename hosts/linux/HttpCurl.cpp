#include "hosts/linux/HttpCurl.h"

#include "hosts/linux/CurlHandles.h"
#include "hosts/linux/HttpCurlTask.h"

#include <mutex>
#include <new>

namespace InstallerCore {

namespace {

void initializeLibrary() {
    static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (result != CURLE_OK) {
        throw std::bad_alloc();
    }
}

CurlEasy makeHandle() {
    CurlEasy easy(curl_easy_init());
    if (!easy) {
        throw std::bad_alloc();
    }
    CURL* const handle = easy.get();
    constexpr long receiveBuffer = 131'072; // bytes
    setOption(handle, CURLOPT_PROTOCOLS_STR, "https");
    setOption(handle, CURLOPT_SSL_VERIFYPEER, 1L);
    setOption(handle, CURLOPT_SSL_VERIFYHOST, 2L);
    setOption(handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    setOption(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
    setOption(handle, CURLOPT_FOLLOWLOCATION, 0L); // each redirect is asked about
    setOption(handle, CURLOPT_PATH_AS_IS, 1L);     // fetch the address that was checked
    setOption(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    setOption(handle, CURLOPT_NOSIGNAL, 1L);
    setOption(handle, CURLOPT_QUICK_EXIT, 1L); // a cancel does not wait for a name server
    setOption(handle, CURLOPT_BUFFERSIZE, receiveBuffer);
    return easy;
}

CurlList headerList(const HttpRequest& request) {
    CurlList list;
    for (const HttpHeader& header : request.headers) {
        append(list, header.name + ": " + header.value);
    }
    return list;
}

} // namespace

HttpCurl::HttpCurl(HttpTimeouts timeouts) : timeouts_(timeouts) {
    initializeLibrary();
}

void HttpCurl::configure(CURL* /*handle*/) const {}

std::unique_ptr<HttpTask> HttpCurl::start(HttpRequest request, HttpDelegate& delegate) {
    CurlEasy handle = makeHandle();
    CurlList headers = headerList(request);
    setOption(handle.get(), CURLOPT_HTTPHEADER, headers.get());
    configure(handle.get());
    return std::make_unique<HttpCurlTask>(std::move(handle), std::move(headers), std::move(request.url),
                                          timeouts_, delegate);
}

} // namespace InstallerCore
