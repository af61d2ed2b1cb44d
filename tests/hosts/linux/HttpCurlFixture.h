#pragma once

#include "InstallerCore/support/PlatformError.h"
#include "InstallerCore/support/Semaphore.h"
#include "rehearsal/LoopbackHttp.h"
#include "tests/support/EnvironmentVariable.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace InstallerCore::Testing {

// Keeps what a transfer tells it, allows everything unless told otherwise, and fails the test when a call
// comes while another one runs, on another thread, or after the last. To be read after await().
class RecordingDelegate final : public HttpDelegate {
public:
    std::function<Disposition(const std::string&)> onRedirect;
    std::function<Disposition(const HttpResponse&)> onResponse;
    std::function<Disposition(ByteView)> onData;

    // Returns when the transfer has completed.
    void await();

    [[nodiscard]] bool isCompleted() const noexcept { return completed_; }

    // "redirect ADDRESS", "response STATUS", "data" (once for pieces in a row) and "completed".
    std::vector<std::string> calls;
    HttpResponse answer;
    std::string body;
    std::optional<int> errorCode; // of the URL-loading domain; absent: received whole

    Disposition redirect(const std::string& address) override;
    Disposition response(const HttpResponse& response) override;
    Disposition data(ByteView chunk) override;
    void completed(std::exception_ptr error) override;

private:
    class Call;

    std::atomic<bool> inside_ = false;
    std::atomic<bool> completed_ = false;
    std::optional<std::thread::id> thread_;
    Semaphore done_;
};

// A scripted server, a transport that leads "dist.test" and "mykavio.test" there, and one transfer at a time.
class HttpCurlFixture : public ::testing::Test {
public:
    HttpCurlFixture();

    // A transport to the port that trusts the authority.
    [[nodiscard]] Rehearsal::LoopbackHttp transport(std::uint16_t port, HttpTimeouts timeouts = {}) const;

    // Fetches https://dist.test/ with the path and waits for the end.
    void fetch(const std::string& path = "feed", std::vector<HttpHeader> headers = {});

    // The same by another transport.
    void fetchBy(Http& http, const std::string& path = "feed", std::vector<HttpHeader> headers = {});

    [[nodiscard]] static HttpRequest request(const std::string& path, std::vector<HttpHeader> headers = {});

    void expectError(UrlErrorCode code) const { EXPECT_EQ(delegate.errorCode, static_cast<int>(code)); }

    void expectCalls(const std::vector<std::string>& calls) const { EXPECT_EQ(delegate.calls, calls); }

    static const std::vector<std::string> hosts;

    TemporaryDirectory directory;
    Rehearsal::CertificateAuthority authority;
    RecordingDelegate delegate;
    ScriptedServer server{{.certificate = authority.issue(hosts)}};
    HttpTimeouts timeouts;
};

// A response with this body and its length.
[[nodiscard]] std::string okResponse(const std::string& body);

// An empty 302 to the address.
[[nodiscard]] std::string redirectTo(const std::string& address);

} // namespace InstallerCore::Testing
