#pragma once

#include "rehearsal/CertificateAuthority.h"
#include "rehearsal/LoopbackListener.h"
#include "tests/support/ScriptedPeer.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace InstallerCore::Testing {

// What the server does with one request.
struct Exchange {
    std::vector<std::string> lines = {};  // must be among the request's lines, letter for letter
    std::vector<std::string> absent = {}; // headers that must not be
    std::function<void(ScriptedPeer&)> answer;
};

// An HTTP/1.1 server in this process that does what no decent server would. Requests take the prepared
// exchanges in order, over as many connections as the clients make; a script that returns leaves its
// connection open for the next request. A request beyond the script fails the test, and so do exchanges that
// are left over when the object goes.
class ScriptedServer {
public:
    struct Options {
        Rehearsal::ServerCertificate certificate;
        bool secure = true; // else a script calls ScriptedPeer::secure() when it likes
        int newestTls =
            0; // as OpenSSL numbers versions; 0: the newest there is. With a limit, old ones count
    };

    explicit ScriptedServer(const Options& options);
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;
    ~ScriptedServer(); // every script ends

    [[nodiscard]] std::uint16_t port() const noexcept { return listener_.port(); }

    void expect(Exchange exchange);

    // An answer of these bytes.
    void expect(std::vector<std::string> lines, std::string answer);

    // The requests so far, each up to its empty line.
    [[nodiscard]] std::vector<std::string> requests() const;

    // Returns when a script has begun to stall, once for each stall.
    void awaitStall() const;

    // Lets one stall go on, the next one when there is none yet.
    void release() const { signals_.release.signal(); }

private:
    struct ContextDeleter {
        void operator()(SSL_CTX* context) const noexcept;
    };

    void acceptConnections();
    void serve(Descriptor socket);
    [[nodiscard]] std::function<void(ScriptedPeer&)> take(const std::string& request);

    bool secure_;
    std::unique_ptr<SSL_CTX, ContextDeleter> context_;
    Rehearsal::LoopbackListener listener_;
    ScriptedPeer::Signals signals_;
    mutable std::mutex lock_;
    std::deque<Exchange> exchanges_;
    std::vector<std::string> requests_;
    std::vector<std::thread> connections_; // of the accepting thread, until it has ended
    std::thread accepting_;
};

} // namespace InstallerCore::Testing
