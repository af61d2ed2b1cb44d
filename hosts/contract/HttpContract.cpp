#include "InstallerCore/platform/Http.h"
#include "InstallerCore/support/Semaphore.h"
#include "hosts/contract/Contract.h"
#include "hosts/posix/Descriptor.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <cstdio>
#include <utility>

namespace InstallerCore::HostContract {

namespace {

constexpr auto patience = std::chrono::seconds(60);

constexpr auto allow = HttpDelegate::Disposition::allow;
constexpr auto cancel = HttpDelegate::Disposition::cancel;

bool isOf(UrlErrorCode code, const PlatformError& error) {
    std::printf("       %s\n", error.what());
    return error.domain() == ErrorDomain::urlLoading && error.code() == static_cast<int>(code);
}

// Answers as it is told and remembers what it was told. To be read after waitForEnd().
class Receiver final : public HttpDelegate {
public:
    struct Answers {
        Disposition redirect = allow;
        Disposition response = allow;
        Disposition data = allow;
    };

    Receiver() = default;

    explicit Receiver(Answers answers) : answers_(answers) {}

    [[nodiscard]] Disposition redirect(const std::string& address) override {
        std::printf("       redirected to %s\n", address.c_str());
        ++redirects_;
        return answers_.redirect;
    }

    [[nodiscard]] Disposition response(const HttpResponse& response) override {
        response_ = response;
        return answers_.response;
    }

    [[nodiscard]] Disposition data(ByteView chunk) override {
        ++chunks_;
        received_ += chunk.size();
        return answers_.data;
    }

    void completed(std::exception_ptr error) override {
        ++completions_;
        error_ = std::move(error);
        done_.signal();
    }

    [[nodiscard]] bool waitForEnd() { return done_.waitFor(patience); }

    [[nodiscard]] int completions() const { return completions_; }

    [[nodiscard]] int redirects() const { return redirects_; }

    [[nodiscard]] const HttpResponse& response() const { return response_; }

    [[nodiscard]] int status() const { return response_.status.value_or(0); }

    [[nodiscard]] int chunks() const { return chunks_; }

    [[nodiscard]] std::size_t received() const { return received_; }

    [[nodiscard]] bool hasError() const { return error_ != nullptr; }

    [[nodiscard]] bool endedWith(UrlErrorCode code) const {
        if (!error_) {
            return false;
        }
        try {
            std::rethrow_exception(error_);
        } catch (const PlatformError& error) {
            return isOf(code, error);
        } catch (const std::exception&) {
            return false;
        }
    }

private:
    Answers answers_;
    HttpResponse response_;
    int redirects_ = 0;
    int chunks_ = 0;
    std::size_t received_ = 0;
    std::atomic<int> completions_ = 0;
    std::exception_ptr error_;
    Semaphore done_;
};

// Listens on the loopback interface, and never answers what the system accepts for it.
class SilentServer {
public:
    SilentServer() : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const general = reinterpret_cast<sockaddr*>(&address);
        if (::bind(socket_.get(), general, length) != 0 || ::listen(socket_.get(), 4) != 0 ||
            ::getsockname(socket_.get(), general, &length) != 0) {
            throw PlatformError(UrlErrorCode::unknown);
        }
        port_ = ntohs(address.sin_port);
    }

    [[nodiscard]] std::string address() const { return "https://127.0.0.1:" + std::to_string(port_) + "/"; }

private:
    Descriptor socket_;
    unsigned port_ = 0;
};

HttpRequest requestFor(const std::string& address) {
    return {.url = Url::parse(address).value(),
            .headers = {{.name = "Accept-Encoding", .value = "identity"}}};
}

// A transfer that cannot be is refused before it begins, and nobody is called, or ends with the error.
bool refuses(Http& http, const HttpRequest& request, UrlErrorCode code) {
    Receiver receiver;
    try {
        const auto task = http.start(request, receiver);
        return receiver.waitForEnd() && receiver.endedWith(code);
    } catch (const PlatformError& error) {
        return isOf(code, error) && receiver.completions() == 0;
    }
}

std::string closedAddress() {
    return SilentServer().address(); // nobody listens there any more
}

} // namespace

void checkHttp(Contract& contract) {
    Http& http = contract.platform().http;
    contract.that("nothing but https is fetched",
                  refuses(http, requestFor("http://127.0.0.1/"), UrlErrorCode::badServerResponse));

    Receiver refused;
    const auto refusedTask = http.start(requestFor(closedAddress()), refused);
    contract.that("nobody answers: the transfer ends", refused.waitForEnd());
    contract.that("with the error", refused.endedWith(UrlErrorCode::cannotConnect));

    const SilentServer server;
    Receiver cancelled;
    const auto cancelledTask = http.start(requestFor(server.address()), cancelled);
    cancelledTask->cancel();
    cancelledTask->cancel();
    contract.that("a cancelled transfer ends", cancelled.waitForEnd());
    contract.that("as cancelled", cancelled.endedWith(UrlErrorCode::cancelled));

    Receiver dropped;
    http.start(requestFor(server.address()), dropped).reset();
    contract.that("a dropped task has completed when it is gone", dropped.completions() == 1);
    contract.that("as cancelled", dropped.endedWith(UrlErrorCode::cancelled));

    Receiver late;
    const auto lateTask = contract.surroundings().impatient.start(requestFor(server.address()), late);
    contract.that("a server that says nothing is given up", late.waitForEnd());
    contract.that("as timed out", late.endedWith(UrlErrorCode::timedOut));
}

namespace {

void checkRange(Contract& contract, const std::string& address, std::size_t size) {
    HttpRequest request = requestFor(address);
    request.headers.push_back({.name = "Range", .value = "bytes=1-"});
    Receiver rest;
    const auto task = contract.platform().http.start(std::move(request), rest);
    contract.that("the rest of the file: the transfer ends", rest.waitForEnd() && !rest.hasError());
    contract.that("with status 206", rest.status() == 206);
    const std::string total = std::to_string(size);
    const std::string range = "bytes 1-" + std::to_string(size - 1) + "/" + total;
    contract.that("with its range", rest.response().header("content-range") == range);
    contract.that("and one byte less", rest.received() == size - 1);
}

} // namespace

void checkDownload(Contract& contract, const std::string& address) {
    if (!Url::parse(address)) {
        contract.that("is an address", false);
        return;
    }
    Http& http = contract.platform().http;
    Receiver whole;
    const auto wholeTask = http.start(requestFor(address), whole);
    contract.that("the transfer ends", whole.waitForEnd() && !whole.hasError());
    contract.that("with status 200", whole.status() == 200);
    contract.that("and a body", whole.received() > 1);
    std::printf("       %zu bytes\n", whole.received());
    if (whole.received() > 1) {
        checkRange(contract, address, whole.received());
    }

    Receiver unwanted({.response = cancel});
    const auto unwantedTask = http.start(requestFor(address), unwanted);
    contract.that("a refused response ends the transfer", unwanted.waitForEnd());
    contract.that("as cancelled, without a byte",
                  unwanted.endedWith(UrlErrorCode::cancelled) && unwanted.received() == 0);

    Receiver sated({.data = cancel});
    const auto satedTask = http.start(requestFor(address), sated);
    contract.that("a refused piece ends the transfer", sated.waitForEnd());
    contract.that("as cancelled, without another",
                  sated.endedWith(UrlErrorCode::cancelled) && sated.chunks() == 1);
}

void checkRedirect(Contract& contract, const std::string& address) {
    if (!Url::parse(address)) {
        contract.that("is an address", false);
        return;
    }
    Receiver settled({.redirect = cancel});
    const auto task = contract.platform().http.start(requestFor(address), settled);
    contract.that("a refused redirect ends", settled.waitForEnd() && !settled.hasError());
    contract.that("as the response", settled.status() >= 300 && settled.status() < 400);
    contract.that("and is asked about once", settled.redirects() == 1);
}

} // namespace InstallerCore::HostContract
