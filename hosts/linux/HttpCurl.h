#pragma once

#include "InstallerCore/platform/Http.h"

#include <curl/curl.h>

namespace InstallerCore {

// The network by libcurl: https only, TLS 1.2 or newer with full checks, HTTP/2 where the server offers it,
// proxies from libcurl's environment variables; nothing is kept from one transfer to the next.
class HttpCurl : public Http {
public:
    explicit HttpCurl(HttpTimeouts timeouts = {});

    [[nodiscard]] std::unique_ptr<HttpTask> start(HttpRequest request, HttpDelegate& delegate) override;

    [[nodiscard]] const HttpTimeouts& timeouts() const noexcept { return timeouts_; }

    static constexpr int mostRedirects = 20;

protected:
    // For a transport of tests and rehearsals to lead a handle elsewhere. Called before each transfer.
    virtual void configure(CURL* handle) const;

private:
    HttpTimeouts timeouts_;
};

} // namespace InstallerCore
