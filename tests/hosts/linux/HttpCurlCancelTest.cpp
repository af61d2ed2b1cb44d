#include "rehearsal/LoopbackListener.h"
#include "tests/hosts/linux/HttpCurlFixture.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>

namespace InstallerCore {

namespace {

using Testing::ScriptedPeer;

// Nothing here would end but for the cancel: the servers wait for it, and the time-outs are the shipped ones.
class HttpCurlCancelTest : public Testing::HttpCurlFixture {
public:
    // Starts a fetch from the port; once the server is where the test wants it, both ways of ending it do.
    template <typename Arrive>
    void expectBothWaysToEnd(std::uint16_t port, Arrive arrive) {
        for (const bool destroying : {false, true}) {
            Testing::RecordingDelegate each;
            auto http = transport(port);
            auto task = http.start(request("feed"), each);
            arrive();
            if (destroying) {
                task.reset();
                EXPECT_TRUE(each.isCompleted());
            } else {
                std::thread([&] { task->cancel(); }).join();
            }
            each.await();
            EXPECT_EQ(each.calls.back(), "completed");
            EXPECT_EQ(each.errorCode, static_cast<int>(UrlErrorCode::cancelled)) << destroying;
        }
    }

    void expectBothWaysToEndStallBehind(const std::string& sent) {
        for (int i = 0; i < 2; ++i) {
            server.expect({.answer = [sent](ScriptedPeer& peer) {
                peer.send(sent);
                peer.stall();
            }});
        }
        expectBothWaysToEnd(server.port(), [&] { server.awaitStall(); });
    }
};

TEST_F(HttpCurlCancelTest, BeforeTheConnectionIsMade) {
    // One connection fills the queue of a socket that nobody accepts from; the next one gets no answer.
    const Rehearsal::LoopbackListener full(0);
    const Descriptor first(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(full.port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::connect(first.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    expectBothWaysToEnd(full.port(), [] {});
}

TEST_F(HttpCurlCancelTest, DuringTheHandshake) {
    const Rehearsal::LoopbackListener silent;
    std::vector<Descriptor> accepted;
    expectBothWaysToEnd(silent.port(), [&] {
        accepted.emplace_back(::accept4(silent.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
        std::array<char, 1> hello{};
        EXPECT_EQ(::recv(accepted.back().get(), hello.data(), hello.size(), 0), 1);
    });
}

TEST_F(HttpCurlCancelTest, BeforeTheAnswer) {
    expectBothWaysToEndStallBehind("");
}

TEST_F(HttpCurlCancelTest, WithinTheHeader) {
    expectBothWaysToEndStallBehind("HTTP/1.1 200 OK\r\nContent-Le");
}

TEST_F(HttpCurlCancelTest, WithinTheBody) {
    expectBothWaysToEndStallBehind("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf");
}

TEST_F(HttpCurlCancelTest, BehindARedirect) {
    for (int i = 0; i < 2; ++i) {
        server.expect({}, Testing::redirectTo("/new"));
        server.expect({.answer = [](ScriptedPeer& peer) { peer.stall(); }});
    }
    expectBothWaysToEnd(server.port(), [&] { server.awaitStall(); });
}

TEST_F(HttpCurlCancelTest, DuringAnEndlessBody) {
    for (int i = 0; i < 2; ++i) {
        server.expect({.answer = [](ScriptedPeer& peer) {
            peer.send("HTTP/1.1 200 OK\r\n\r\n");
            peer.stall();
            peer.sendForever(std::string(10'000, 'x'));
        }});
    }
    expectBothWaysToEnd(server.port(), [&] {
        server.awaitStall();
        server.release();
    });
}

TEST_F(HttpCurlCancelTest, FromWithinACall) {
    server.expect({.answer = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf");
        peer.untilGone();
    }});
    auto http = transport(server.port());
    Semaphore started;
    HttpTask* running = nullptr;
    delegate.onResponse = [&](const HttpResponse&) {
        EXPECT_TRUE(started.waitFor(std::chrono::minutes(1)));
        running->cancel();
        return HttpDelegate::Disposition::allow;
    };
    const auto task = http.start(request("feed"), delegate);
    running = task.get();
    started.signal();
    delegate.await();
    expectError(UrlErrorCode::cancelled);
}

TEST_F(HttpCurlCancelTest, AfterTheEndChangesNothing) {
    server.expect({}, Testing::okResponse("body"));
    auto http = transport(server.port());
    const auto task = http.start(request("feed"), delegate);
    delegate.await();
    task->cancel();
    task->cancel();
    EXPECT_EQ(delegate.errorCode, std::nullopt);
    EXPECT_EQ(delegate.body, "body");
}

} // namespace

} // namespace InstallerCore
