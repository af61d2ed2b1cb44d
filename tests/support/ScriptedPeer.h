#pragma once

#include "hosts/posix/Descriptor.h"

#include <openssl/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

namespace InstallerCore::Testing {

// A semaphore that poll() can wait for together with a socket. Any thread.
class PollableSemaphore {
public:
    PollableSemaphore();

    void signal() const;

    // Takes one signal when there is one.
    [[nodiscard]] bool tryTake() const;

    [[nodiscard]] int descriptor() const noexcept { return event_.get(); }

private:
    Descriptor event_;
};

// One client's connection to a ScriptedServer, as a script plays it. No call waits any longer than the client
// stays or the server lives: it throws Gone then, which a script lets pass.
class ScriptedPeer {
public:
    struct Gone {};

    // What the server shares with its peers.
    struct Signals {
        PollableSemaphore stop;    // raised once and never taken: the server ends
        PollableSemaphore release; // one for each stall that may go on
        PollableSemaphore stalled; // one for each stall that began
    };

    ScriptedPeer(Descriptor socket, SSL_CTX* tls, const Signals& signals);
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;
    ~ScriptedPeer();

    // Speaks TLS from here on.
    void secure();

    // Up to the empty line, which is left out.
    [[nodiscard]] std::string readRequest();

    void send(std::string_view bytes);

    // Over and over until the client leaves.
    [[noreturn]] void sendForever(std::string_view bytes);

    // Says so to ScriptedServer::awaitStall() and goes on at ScriptedServer::release().
    void stall();

    // One byte and a stall, for each byte.
    void drip(std::string_view bytes);

    // Real time, for what can be tested with nothing else.
    void pause(std::chrono::milliseconds duration);

    // These end the connection: silently, with and without TLS's own good-bye, and by a TCP reset.
    [[noreturn]] void untilGone();
    [[noreturn]] void close();
    [[noreturn]] void closeWithoutNotify();
    [[noreturn]] void reset();

private:
    struct TlsDeleter {
        void operator()(SSL* tls) const noexcept;
    };

    // Waits for the socket's events, the other descriptor (when there is one) or the time (when given).
    void await(short events, int other = -1, int milliseconds = -1);

    void receive();
    [[nodiscard]] std::string read();
    void sendRaw(std::string_view bytes);
    void flush();

    Descriptor socket_;
    SSL_CTX* context_;
    const Signals& signals_;
    std::unique_ptr<SSL, TlsDeleter> tls_;
    std::string received_; // without TLS: what nobody has read yet
    std::string request_;
};

} // namespace InstallerCore::Testing
