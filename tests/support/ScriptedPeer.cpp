#include "tests/support/ScriptedPeer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace InstallerCore::Testing {

PollableSemaphore::PollableSemaphore() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)) {
    if (event_.get() < 0) {
        throw std::runtime_error("no eventfd");
    }
}

void PollableSemaphore::signal() const {
    const std::uint64_t one = 1;
    static_cast<void>(!::write(event_.get(), &one, sizeof one)); // fails only at 2^64 signals
}

bool PollableSemaphore::tryTake() const {
    std::uint64_t one = 0;
    return ::read(event_.get(), &one, sizeof one) == static_cast<ssize_t>(sizeof one);
}

void ScriptedPeer::TlsDeleter::operator()(SSL* tls) const noexcept {
    SSL_free(tls);
}

ScriptedPeer::ScriptedPeer(Descriptor socket, SSL_CTX* tls, const Signals& signals)
    : socket_(std::move(socket)), context_(tls), signals_(signals) {
    const int on = 1;
    ::setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

ScriptedPeer::~ScriptedPeer() = default;

void ScriptedPeer::await(short events, int other, int milliseconds) {
    std::array<pollfd, 3> descriptors = {{{.fd = socket_.get(), .events = events, .revents = 0},
                                          {.fd = signals_.stop.descriptor(), .events = POLLIN, .revents = 0},
                                          {.fd = other, .events = POLLIN, .revents = 0}}};
    ::poll(descriptors.data(), descriptors.size(), milliseconds);
    if (descriptors[1].revents != 0) {
        throw Gone();
    }
}

// Takes what is there, for read(); returns with nothing when nothing is there yet.
void ScriptedPeer::receive() {
    std::array<char, 16'384> buffer{};
    const ssize_t count = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
    if (count > 0) {
        const std::string_view bytes(buffer.data(), static_cast<std::size_t>(count));
        if (tls_) {
            BIO_write(SSL_get_rbio(tls_.get()), bytes.data(), static_cast<int>(bytes.size()));
        } else {
            received_ += bytes;
        }
    } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
        throw Gone();
    }
}

std::string ScriptedPeer::read() {
    while (true) {
        if (!tls_) {
            if (!received_.empty()) {
                return std::exchange(received_, {});
            }
        } else {
            std::array<char, 16'384> buffer{};
            const int count = SSL_read(tls_.get(), buffer.data(), static_cast<int>(buffer.size()));
            if (count > 0) {
                return {buffer.data(), static_cast<std::size_t>(count)};
            }
            if (SSL_get_error(tls_.get(), count) != SSL_ERROR_WANT_READ) {
                throw Gone();
            }
            flush();
        }
        await(POLLIN);
        receive();
    }
}

std::string ScriptedPeer::readRequest() {
    constexpr std::string_view end = "\r\n\r\n";
    std::size_t length = 0;
    while ((length = request_.find(end)) == std::string::npos) {
        request_ += read();
    }
    std::string request = request_.substr(0, length);
    request_.erase(0, length + end.size());
    return request;
}

void ScriptedPeer::secure() {
    tls_.reset(SSL_new(context_));
    SSL_set_bio(tls_.get(), BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    while (true) {
        const int result = SSL_accept(tls_.get());
        flush(); // an alert, too
        if (result == 1) {
            return;
        }
        if (SSL_get_error(tls_.get(), result) != SSL_ERROR_WANT_READ) {
            untilGone();
        }
        await(POLLIN);
        receive();
    }
}

void ScriptedPeer::sendRaw(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN || errno == EINTR) {
            await(POLLOUT);
        } else {
            throw Gone();
        }
    }
}

void ScriptedPeer::flush() {
    std::array<char, 16'384> buffer{};
    int count = 0;
    while ((count = BIO_read(SSL_get_wbio(tls_.get()), buffer.data(), static_cast<int>(buffer.size()))) > 0) {
        sendRaw({buffer.data(), static_cast<std::size_t>(count)});
    }
}

void ScriptedPeer::send(std::string_view bytes) {
    if (bytes.empty()) {
        return;
    }
    if (!tls_) {
        sendRaw(bytes);
        return;
    }
    if (SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size())) <= 0) {
        throw Gone();
    }
    flush();
}

void ScriptedPeer::sendForever(std::string_view bytes) {
    while (true) {
        await(POLLOUT);
        send(bytes);
    }
}

void ScriptedPeer::stall() {
    signals_.stalled.signal();
    while (!signals_.release.tryTake()) {
        await(POLLIN, signals_.release.descriptor());
        receive(); // notices that the client left
    }
}

void ScriptedPeer::drip(std::string_view bytes) {
    for (const char byte : bytes) {
        send({&byte, 1});
        stall();
    }
}

void ScriptedPeer::pause(std::chrono::milliseconds duration) {
    await(0, -1, static_cast<int>(duration.count()));
}

void ScriptedPeer::untilGone() {
    while (true) {
        await(POLLIN);
        receive();
    }
}

void ScriptedPeer::close() {
    if (tls_) {
        SSL_shutdown(tls_.get());
        flush();
    }
    closeWithoutNotify();
}

void ScriptedPeer::closeWithoutNotify() {
    ::shutdown(socket_.get(), SHUT_WR);
    untilGone();
}

void ScriptedPeer::reset() {
    const linger atOnce{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    socket_ = Descriptor();
    throw Gone();
}

} // namespace InstallerCore::Testing
