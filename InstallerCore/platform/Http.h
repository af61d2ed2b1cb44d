#pragma once

#include "InstallerCore/support/Bytes.h"
#include "InstallerCore/support/Url.h"

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore {

struct HttpHeader {
    std::string name;
    std::string value;
};

// One GET. Nothing is cached or stored, and nothing is sent but what stands here and what the transport says
// to everybody.
struct HttpRequest {
    Url url;
    std::vector<HttpHeader> headers;
};

struct HttpResponse {
    std::optional<int> status; // absent when the answer is not HTTP
    std::vector<HttpHeader> headers;

    // The header's value, names compared without case; repeated headers are joined by ", ".
    [[nodiscard]] std::optional<std::string> header(std::string_view name) const;
};

// How long a transport waits. Hosts take it at construction, with these values in every shipped program.
struct HttpTimeouts {
    std::chrono::milliseconds idle = std::chrono::seconds(30); // without a byte from the server
    std::chrono::milliseconds whole = std::chrono::days(7);    // for the transfer with its redirects
};

// What the owner of a transfer is told and asked. The calls come one at a time, on a thread of the
// transfer's own, in the order redirect*, response?, data*, completed; completed comes exactly once, whatever
// happened, and is the last. None may throw. After an answer that ends the transfer, only completed follows.
class HttpDelegate {
public:
    enum class Disposition { allow, cancel };

    // The server redirects to the address, made absolute; the text is empty when there is none that parses.
    // Allow follows it with the same headers; cancel makes the redirect itself the response.
    [[nodiscard]] virtual Disposition redirect(const std::string& address) = 0;

    [[nodiscard]] virtual Disposition response(const HttpResponse& response) = 0;

    // A piece of the response's body, never empty.
    [[nodiscard]] virtual Disposition data(ByteView chunk) = 0;

    // The error is a PlatformError of the URL-loading domain, UrlErrorCode::cancelled after a cancel; null
    // when the response was received whole.
    virtual void completed(std::exception_ptr error) = 0;

protected:
    HttpDelegate() = default;
    ~HttpDelegate() = default;
};

// A transfer under way. Destroying it cancels what is outstanding and waits until no call can come any more:
// not from a call of the delegate, which would wait for itself.
class HttpTask {
public:
    virtual ~HttpTask() = default;

    // From any thread, any number of times; returns at once.
    virtual void cancel() noexcept = 0;
};

// The network. Follows at most 20 redirects. May be called from any thread.
class Http {
public:
    virtual ~Http() = default;

    // The delegate must outlive the task. Throws a PlatformError of the URL-loading domain when the transfer
    // cannot even begin; the delegate is not called then.
    [[nodiscard]] virtual std::unique_ptr<HttpTask> start(HttpRequest request, HttpDelegate& delegate) = 0;
};

} // namespace InstallerCore
