#include "InstallerCore/platform/Http.h"
#include "InstallerCore/support/Semaphore.h"
#include "hosts/macos/HttpUrlSession.h"
#include "hosts/macos/contract/Contract.h"
#include "hosts/posix/Descriptor.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>

namespace InstallerCore::MacContract {

namespace {

constexpr auto patience = std::chrono::seconds(60);

// Takes everything and remembers how it ended.
class Receiver final : public HttpDelegate {
public:
    [[nodiscard]] Disposition redirect(const std::string& address) override {
        std::printf("       redirected to %s\n", address.c_str());
        return Disposition::allow;
    }

    [[nodiscard]] Disposition response(const HttpResponse& response) override {
        status_ = response.status.value_or(0);
        return Disposition::allow;
    }

    [[nodiscard]] Disposition data(ByteView chunk) override {
        received_ += chunk.size();
        return Disposition::allow;
    }

    void completed(std::exception_ptr error) override {
        ++completions_;
        error_ = std::move(error);
        done_.signal();
    }

    [[nodiscard]] bool waitForEnd() { return done_.waitFor(patience); }

    [[nodiscard]] int completions() const { return completions_; }

    [[nodiscard]] int status() const { return status_; }

    [[nodiscard]] std::size_t received() const { return received_; }

    [[nodiscard]] bool hasError() const { return error_ != nullptr; }

    [[nodiscard]] bool endedWith(UrlErrorCode code) const {
        if (!error_) {
            return false;
        }
        try {
            std::rethrow_exception(error_);
        } catch (const PlatformError& error) {
            std::printf("       %s\n", error.what());
            return error.domain() == ErrorDomain::urlLoading && error.code() == static_cast<int>(code);
        } catch (const std::exception&) {
            return false;
        }
    }

private:
    int status_ = 0;
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

std::string closedAddress() {
    return SilentServer().address(); // nobody listens there any more
}

} // namespace

void checkHttp(Contract& contract) {
    Http& http = contract.platform().http;
    Receiver plain;
    contract.fails("nothing but https is fetched", UrlErrorCode::badServerResponse,
                   [&] { static_cast<void>(http.start(requestFor("http://127.0.0.1/"), plain)); });
    contract.that("and nobody is called", plain.completions() == 0);

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
    HttpUrlSession impatient({.idle = std::chrono::seconds(2), .whole = std::chrono::seconds(20)});
    const auto lateTask = impatient.start(requestFor(server.address()), late);
    contract.that("a server that says nothing is given up", late.waitForEnd());
    contract.that("as timed out", late.endedWith(UrlErrorCode::timedOut));
}

void checkDownload(Contract& contract, const std::string& address) {
    std::printf("\n%s\n", address.c_str());
    if (!Url::parse(address)) {
        contract.that("is an address", false);
        return;
    }
    Receiver receiver;
    const auto task = contract.platform().http.start(requestFor(address), receiver);
    contract.that("the transfer ends", receiver.waitForEnd());
    contract.that("without an error", !receiver.hasError());
    contract.that("with status 200", receiver.status() == 200);
    contract.that("and a body", receiver.received() > 0);
    std::printf("       %zu bytes\n", receiver.received());
}

} // namespace InstallerCore::MacContract
