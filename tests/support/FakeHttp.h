#pragma once

#include "InstallerCore/platform/Http.h"
#include "InstallerCore/support/PlatformError.h"

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// What the fake network does with one request, played on a thread of its own in this order: the redirects,
// the response, the chunks, the end. An answer of the delegate that ends the transfer is honoured at once.
struct FakeExchange {
    std::vector<std::string> redirects; // addresses the delegate is asked about; a refused one ends them
    std::optional<HttpResponse> response;
    std::vector<std::string> chunks;
    std::optional<UrlErrorCode> error;    // of the end; absent: received whole
    bool silentUntilCancelled = false;    // nothing after the chunks until the task is cancelled
    std::function<void()> beforeResponse; // on the transfer's thread
    std::function<void()> beforeEnd;
};

// A network of prepared exchanges, taken in order. A request beyond them fails the test, and so do exchanges
// that are left over when the object goes.
class FakeHttp final : public Http {
public:
    FakeHttp() = default;
    FakeHttp(const FakeHttp&) = delete;
    FakeHttp& operator=(const FakeHttp&) = delete;
    ~FakeHttp() override;

    void expect(FakeExchange exchange);

    // Takes back what was expected and not asked for yet.
    void forgetExpected();

    // The requests so far.
    [[nodiscard]] std::vector<HttpRequest> requests() const;

    [[nodiscard]] std::unique_ptr<HttpTask> start(HttpRequest request, HttpDelegate& delegate) override;

private:
    mutable std::mutex lock_;
    std::deque<FakeExchange> exchanges_;
    std::vector<HttpRequest> requests_;
};

// The value of the request's header, absent when it was not sent.
[[nodiscard]] std::optional<std::string> headerOf(const HttpRequest& request, std::string_view name);

} // namespace InstallerCore::Testing
