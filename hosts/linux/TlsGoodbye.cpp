#include "hosts/linux/TlsGoodbye.h"

#include "hosts/linux/CurlHandles.h"

#include <openssl/ssl.h>

namespace InstallerCore {

namespace {

// Where a context keeps its TlsGoodbye.
int slot() {
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

} // namespace

void TlsGoodbye::listenOn(CURL* handle) {
    received_ = false;
    setOption(handle, CURLOPT_SSL_CTX_FUNCTION, &TlsGoodbye::onContext);
    setOption(handle, CURLOPT_SSL_CTX_DATA, this);
}

CURLcode TlsGoodbye::onContext(CURL* /*handle*/, void* context, void* goodbye) {
    auto* const tls = static_cast<SSL_CTX*>(context);
    if (SSL_CTX_set_ex_data(tls, slot(), goodbye) != 1) {
        return CURLE_OUT_OF_MEMORY;
    }
    SSL_CTX_set_info_callback(tls, &TlsGoodbye::onEvent);
    return CURLE_OK;
}

void TlsGoodbye::onEvent(const SSL* connection, int event, int value) {
    constexpr unsigned description = 0xFF; // the lower byte of an alert; the level is above
    const bool isGoodbye =
        event == SSL_CB_READ_ALERT && (static_cast<unsigned>(value) & description) == SSL_AD_CLOSE_NOTIFY;
    if (isGoodbye) {
        static_cast<TlsGoodbye*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(connection), slot()))->received_ = true;
    }
}

} // namespace InstallerCore
