#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace InstallerCore::Testing {

namespace {

void check(bool done) {
    if (!done) {
        throw std::runtime_error("OpenSSL could not set up a server");
    }
}

template <typename T, void (*Free)(T*)>
struct FreeWith {
    void operator()(T* object) const noexcept { Free(object); }
};

using Memory = std::unique_ptr<BIO, FreeWith<BIO, BIO_free_all>>;
using Certificate = std::unique_ptr<X509, FreeWith<X509, X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY, EVP_PKEY_free>>;

Memory memory(const std::string& text) {
    return Memory(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

void useCertificate(SSL_CTX* context, const Rehearsal::ServerCertificate& pem) {
    const Certificate certificate(
        PEM_read_bio_X509(memory(pem.certificate).get(), nullptr, nullptr, nullptr));
    const Key key(PEM_read_bio_PrivateKey(memory(pem.privateKey).get(), nullptr, nullptr, nullptr));
    check(SSL_CTX_use_certificate(context, certificate.get()) == 1);
    check(SSL_CTX_use_PrivateKey(context, key.get()) == 1);
}

std::vector<std::string> linesOf(const std::string& request) {
    std::vector<std::string> lines;
    std::size_t begin = 0;
    while (begin <= request.size()) {
        const std::size_t end = std::min(request.find("\r\n", begin), request.size());
        lines.push_back(request.substr(begin, end - begin));
        begin = end + 2;
    }
    return lines;
}

void checkRequest(const Exchange& exchange, const std::string& request) {
    const std::vector<std::string> lines = linesOf(request);
    for (const std::string& line : exchange.lines) {
        EXPECT_EQ(std::count(lines.begin(), lines.end(), line), 1) << line << "\nin the request\n" << request;
    }
    for (const std::string& name : exchange.absent) {
        EXPECT_TRUE(std::none_of(lines.begin(), lines.end(),
                                 [&](const std::string& line) { return line.starts_with(name + ":"); }))
            << name << "\nin the request\n"
            << request;
    }
}

} // namespace

void ScriptedServer::ContextDeleter::operator()(SSL_CTX* context) const noexcept {
    SSL_CTX_free(context);
}

ScriptedServer::ScriptedServer(const Options& options)
    : secure_(options.secure), context_(SSL_CTX_new(TLS_server_method())) {
    check(context_ != nullptr);
    useCertificate(context_.get(), options.certificate);
    if (options.newestTls != 0) {
        check(SSL_CTX_set_min_proto_version(context_.get(), TLS1_VERSION) == 1);
        check(SSL_CTX_set_max_proto_version(context_.get(), options.newestTls) == 1);
        check(SSL_CTX_set_cipher_list(context_.get(), "DEFAULT:@SECLEVEL=0") == 1);
    }
    accepting_ = std::thread(&ScriptedServer::acceptConnections, this);
}

ScriptedServer::~ScriptedServer() {
    signals_.stop.signal();
    accepting_.join();
    for (std::thread& connection : connections_) {
        connection.join();
    }
    EXPECT_TRUE(exchanges_.empty()) << exchanges_.size() << " expected requests were never made";
}

void ScriptedServer::expect(Exchange exchange) {
    const std::lock_guard guard(lock_);
    exchanges_.push_back(std::move(exchange));
}

void ScriptedServer::expect(std::vector<std::string> lines, std::string answer) {
    expect({.lines = std::move(lines),
            .answer = [answer = std::move(answer)](ScriptedPeer& peer) { peer.send(answer); }});
}

std::vector<std::string> ScriptedServer::requests() const {
    const std::lock_guard guard(lock_);
    return requests_;
}

void ScriptedServer::awaitStall() const {
    constexpr int patience = 60'000; // milliseconds; reached only by a test that fails
    pollfd stalled = {.fd = signals_.stalled.descriptor(), .events = POLLIN, .revents = 0};
    ::poll(&stalled, 1, patience);
    EXPECT_TRUE(signals_.stalled.tryTake()) << "no script came to a stall";
}

void ScriptedServer::acceptConnections() {
    std::array<pollfd, 2> descriptors = {
        {{.fd = listener_.descriptor(), .events = POLLIN, .revents = 0},
         {.fd = signals_.stop.descriptor(), .events = POLLIN, .revents = 0}}};
    while (true) {
        ::poll(descriptors.data(), descriptors.size(), -1);
        if (descriptors[1].revents != 0) {
            return;
        }
        Descriptor socket(::accept4(listener_.descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (socket.get() >= 0) {
            connections_.emplace_back(&ScriptedServer::serve, this, std::move(socket));
        }
    }
}

void ScriptedServer::serve(Descriptor socket) {
    try {
        ScriptedPeer peer(std::move(socket), context_.get(), signals_);
        if (secure_) {
            peer.secure();
        }
        while (true) {
            take(peer.readRequest())(peer);
        }
    } catch (const ScriptedPeer::Gone&) {
        // The usual end.
    } catch (const std::exception& error) {
        ADD_FAILURE() << "a script failed: " << error.what();
    }
}

std::function<void(ScriptedPeer&)> ScriptedServer::take(const std::string& request) {
    const std::lock_guard guard(lock_);
    requests_.push_back(request);
    if (exchanges_.empty()) {
        ADD_FAILURE() << "a request that was not expected:\n" << request;
        return [](ScriptedPeer& peer) { peer.reset(); };
    }
    const Exchange exchange = std::move(exchanges_.front());
    exchanges_.pop_front();
    checkRequest(exchange, request);
    return exchange.answer;
}

} // namespace InstallerCore::Testing
