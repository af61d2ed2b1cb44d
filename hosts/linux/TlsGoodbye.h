#pragma once

#include <curl/curl.h>
#include <openssl/types.h>

namespace InstallerCore {

// Whether a server said good-bye as TLS wants it. A body without a length ends where the connection ends, and
// libcurl does not tell such an end from a connection that somebody cut: only the good-bye cannot be forged.
// For the one thread that uses the handle.
class TlsGoodbye {
public:
    TlsGoodbye() = default;
    TlsGoodbye(const TlsGoodbye&) = delete;
    TlsGoodbye& operator=(const TlsGoodbye&) = delete;

    // The object must outlive the connections that the handle makes.
    void listenOn(CURL* handle);

    [[nodiscard]] bool isReceived() const noexcept { return received_; }

private:
    static CURLcode onContext(CURL* handle, void* context, void* goodbye);
    static void onEvent(const SSL* connection, int event, int value);

    bool received_ = false;
};

} // namespace InstallerCore
