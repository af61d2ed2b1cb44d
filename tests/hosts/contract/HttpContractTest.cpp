#include "hosts/contract/Contract.h"
#include "hosts/linux/LinuxHost.h"
#include "tests/hosts/linux/HttpCurlFixture.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace InstallerCore::HostContract {

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using Testing::Exchange;
using ::testing::IsEmpty;
using Testing::okResponse;
using Failures = std::vector<std::string>;

// A network that may change requests and answers on their way.
class LyingHttp final : public Http {
public:
    explicit LyingHttp(Http& real) : real_(real) {}

    std::function<void(HttpRequest&)> onStart = [](HttpRequest&) {};
    bool obeys = true; // what the delegate answers

    [[nodiscard]] std::unique_ptr<HttpTask> start(HttpRequest request, HttpDelegate& delegate) override {
        onStart(request);
        auto relay = std::make_unique<Relay>(delegate, obeys);
        auto task = real_.start(std::move(request), *relay);
        return std::make_unique<Task>(std::move(relay), std::move(task));
    }

private:
    class Relay final : public HttpDelegate {
    public:
        Relay(HttpDelegate& delegate, bool obeys) : delegate_(delegate), obeys_(obeys) {}

        [[nodiscard]] Disposition redirect(const std::string& address) override {
            return answer(delegate_.redirect(address));
        }

        [[nodiscard]] Disposition response(const HttpResponse& response) override {
            return answer(delegate_.response(response));
        }

        [[nodiscard]] Disposition data(ByteView chunk) override { return answer(delegate_.data(chunk)); }

        void completed(std::exception_ptr error) override { delegate_.completed(std::move(error)); }

    private:
        [[nodiscard]] Disposition answer(Disposition given) const {
            return obeys_ ? given : Disposition::allow;
        }

        HttpDelegate& delegate_;
        bool obeys_;
    };

    class Task final : public HttpTask {
    public:
        Task(std::unique_ptr<Relay> relay, std::unique_ptr<HttpTask> task)
            : relay_(std::move(relay)), task_(std::move(task)) {}

        void cancel() noexcept override { task_->cancel(); }

    private:
        std::unique_ptr<Relay> relay_;
        std::unique_ptr<HttpTask> task_;
    };

    Http& real_;
};

class HttpContractTest : public Testing::HttpCurlFixture {
protected:
    [[nodiscard]] static Failures failures(Http& http, const std::function<void(Contract&)>& part) {
        const LinuxHost host;
        const Platform platform = Rehearsal::over(http, host.platform());
        Contract contract(platform, {.impatient = http});
        contract.part("HTTP", part);
        return contract.failures();
    }

    [[nodiscard]] static Failures downloadFailures(Http& http) {
        return failures(http, [](Contract& contract) { checkDownload(contract, "https://dist.test/file"); });
    }

    [[nodiscard]] static Failures redirectFailures(Http& http) {
        return failures(http, [](Contract& contract) { checkRedirect(contract, "https://dist.test/old"); });
    }

    // The whole, the rest by this answer, and the two transfers that are refused.
    void expectDownload(const std::string& part, std::vector<std::string> header = {"Range: bytes=1-"}) {
        server.expect({}, okResponse("test"));
        server.expect(std::move(header), part);
        server.expect({}, okResponse("test"));
        server.expect({}, okResponse("test"));
    }

    [[nodiscard]] static std::string partOf(const std::string& range, const std::string& body) {
        return "HTTP/1.1 206 Partial Content\r\nContent-Range: " + range +
               "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }

    const std::string rest = partOf("bytes 1-3/4", "est");
    Rehearsal::LoopbackHttp http = transport(server.port());
};

TEST_F(HttpContractTest, HoldsOnThisMachine) {
    auto direct = Rehearsal::LoopbackHttp({}, server.port(), directory / "authority.pem",
                                          {.idle = std::chrono::milliseconds(300)});
    EXPECT_THAT(failures(direct, checkHttp), IsEmpty());
    LyingHttp liar(direct);
    liar.onStart = [](HttpRequest& request) {
        std::string address(request.url.text());
        if (address.starts_with("http:")) {
            request.url = Url::parse("https:" + address.substr(5)).value();
        }
    };
    EXPECT_THAT(failures(liar, checkHttp), ElementsAre("nothing but https is fetched"));
}

TEST_F(HttpContractTest, DownloadHolds) {
    expectDownload(rest);
    EXPECT_THAT(downloadFailures(http), IsEmpty());
}

TEST_F(HttpContractTest, RefusalsThatAreNotObeyedAreSeen) {
    expectDownload(rest);
    LyingHttp liar(http);
    liar.obeys = false;
    EXPECT_THAT(downloadFailures(liar),
                ElementsAre("as cancelled, without a byte", "as cancelled, without another"));
}

TEST_F(HttpContractTest, HeaderThatIsNotSentIsSeen) {
    expectDownload(okResponse("test"), {});
    LyingHttp liar(http);
    liar.onStart = [](HttpRequest& request) { request.headers.clear(); };
    EXPECT_THAT(downloadFailures(liar),
                ElementsAre("with status 206", "with its range", "and one byte less"));
}

TEST_F(HttpContractTest, WrongRangeIsSeen) {
    expectDownload(partOf("bytes 1-3/5", "est"));
    EXPECT_THAT(downloadFailures(http), ElementsAre("with its range"));
}

TEST_F(HttpContractTest, WhatCannotBeFetchedFails) {
    const auto failuresOf = [&](const std::string& address) {
        return failures(http, [&](Contract& contract) { checkDownload(contract, address); });
    };
    EXPECT_THAT(failuresOf("https://["), ElementsAre("is an address"));
    EXPECT_THAT(failuresOf("http://dist.test/"), Contains("the transfer ends"));
}

TEST_F(HttpContractTest, RefusedRedirectHolds) {
    server.expect({"GET /old HTTP/1.1"}, Testing::redirectTo("/new"));
    EXPECT_THAT(redirectFailures(http), IsEmpty());
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(HttpContractTest, RedirectThatIsFollowedAllTheSameIsSeen) {
    server.expect({"GET /old HTTP/1.1"}, Testing::redirectTo("/new"));
    server.expect({"GET /new HTTP/1.1"}, okResponse("new"));
    LyingHttp liar(http);
    liar.obeys = false;
    EXPECT_THAT(redirectFailures(liar), ElementsAre("as the response"));
}

} // namespace

} // namespace InstallerCore::HostContract
