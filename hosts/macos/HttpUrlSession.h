#pragma once

#include "InstallerCore/platform/Http.h"

namespace InstallerCore {

// The network by NSURLSession: https only, TLS 1.2 or newer with the system's checks and proxies; a session
// of its own for each transfer, which keeps nothing. The system adds its usual User-Agent and
// Accept-Language, and may give up before the twentieth redirect. A body of unknown length that ends as the
// connection is closed without TLS's goodbye is refused only where the system refuses it.
class HttpUrlSession final : public Http {
public:
    explicit HttpUrlSession(HttpTimeouts timeouts = {}) : timeouts_(timeouts) {}

    [[nodiscard]] std::unique_ptr<HttpTask> start(HttpRequest request, HttpDelegate& delegate) override;

private:
    HttpTimeouts timeouts_;
};

} // namespace InstallerCore
