#include "tests/hosts/linux/HttpCurlFixture.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <utility>

namespace InstallerCore {

namespace {

using Testing::ScriptedPeer;
using Script = std::function<void(ScriptedPeer&)>;

Script sendAndWait(const std::string& text) {
    return [text](ScriptedPeer& peer) {
        peer.send(text);
        peer.untilGone();
    };
}

Script sendAndClose(const std::string& text) {
    return [text](ScriptedPeer& peer) {
        peer.send(text);
        peer.close();
    };
}

class HttpCurlFailureTest : public Testing::HttpCurlFixture {
public:
    void expectErrorOf(UrlErrorCode code, Script answer) {
        server.expect({.answer = std::move(answer)});
        Testing::RecordingDelegate each;
        auto http = transport(server.port(), timeouts);
        const auto task = http.start(request("feed"), each);
        each.await();
        EXPECT_EQ(each.errorCode, static_cast<int>(code));
        last = each.calls;
    }

    std::vector<std::string> last; // calls
};

TEST_F(HttpCurlFailureTest, RefusedConnection) {
    const Descriptor closed(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)); // has a port, does not listen
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(::bind(closed.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
    ASSERT_EQ(::getsockname(closed.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
    auto http = transport(ntohs(address.sin_port));
    fetchBy(http);
    expectCalls({"completed"});
    expectError(UrlErrorCode::cannotConnect);
}

// A name of more than 63 characters between full stops cannot have an address, so no resolver is asked for
// one.
TEST_F(HttpCurlFailureTest, NameWithoutAnAddress) {
    const Testing::NoProxy noProxy;
    constexpr std::size_t tooLong = 64;
    HttpCurl http;
    const auto task = http.start(
        {.url = Url::parse("https://" + std::string(tooLong, 'n') + ".invalid/feed").value(), .headers = {}},
        delegate);
    delegate.await();
    expectCalls({"completed"});
    expectError(UrlErrorCode::cannotFindHost);
}

TEST_F(HttpCurlFailureTest, SchemeOtherThanHttps) {
    HttpCurl http;
    const auto task =
        http.start({.url = Url::parse("http://127.0.0.1:1/feed").value(), .headers = {}}, delegate);
    delegate.await();
    expectCalls({"completed"});
    expectError(UrlErrorCode::badServerResponse);
}

TEST_F(HttpCurlFailureTest, ConnectionLost) {
    const std::string half = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf";
    expectErrorOf(UrlErrorCode::connectionLost, [](ScriptedPeer& peer) { peer.close(); });
    expectErrorOf(UrlErrorCode::connectionLost, sendAndClose("HTTP/1.1 200 OK\r\nContent-"));
    expectErrorOf(UrlErrorCode::connectionLost, sendAndClose(half));
    expectErrorOf(UrlErrorCode::connectionLost, [&](ScriptedPeer& peer) {
        peer.send(half);
        peer.closeWithoutNotify();
    });
    expectErrorOf(UrlErrorCode::connectionLost, [&](ScriptedPeer& peer) {
        peer.send(half);
        peer.reset();
    });
    expectErrorOf(UrlErrorCode::connectionLost,
                  sendAndClose("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n9\r\nhalf"));
    expectErrorOf(UrlErrorCode::connectionLost,
                  sendAndClose("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nhalf\r\n"));
}

// Without a length only TLS's own good-bye tells the end of a body from a cut cable.
TEST_F(HttpCurlFailureTest, BodyUntilTheConnectionClosesNeedsAProperEnd) {
    expectErrorOf(UrlErrorCode::connectionLost, [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\n\r\nall of it?");
        peer.closeWithoutNotify();
    });
    const std::vector<std::string> calls = {"response 200", "data", "completed"};
    EXPECT_EQ(last, calls);
    // Another coding than chunked marks no end either.
    expectErrorOf(UrlErrorCode::connectionLost, [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: identity\r\n\r\nall of it?");
        peer.closeWithoutNotify();
    });
}

TEST_F(HttpCurlFailureTest, AnswerThatIsNotHttp) {
    const std::vector<std::string> nothingElse = {"completed"};
    for (const char* text : {"<html>of an old server</html>\n", "SSH-2.0-OpenSSH_9.2\r\n", "\r\n\r\n",
                             "HTTP/9.9 200 OK\r\n\r\n", "HTTP/1.1 OK\r\n\r\n", "HTTP/1.1\r\n\r\n"}) {
        expectErrorOf(UrlErrorCode::badServerResponse, sendAndClose(text));
        EXPECT_EQ(last, nothingElse) << text;
    }
}

// libcurl hands out what follows such a line as a body; it must not come without a response.
TEST_F(HttpCurlFailureTest, NoBodyComesWithoutAResponse) {
    for (const char* header : {"\rX: y\r\n", "X: y\r\n\rZ", "\n", "X: y\n\n", " \r\n\r\n", "X\r\n\r\n",
                               "HTTP/1.1 500 No\r\n\r\n", "HTTP/1.1 500: No\r\n\r\n"}) {
        server.expect({.answer = sendAndClose(std::string("HTTP/1.1 200 OK\r\n") + header + "body")});
        Testing::RecordingDelegate each;
        auto http = transport(server.port());
        const auto task = http.start(request("feed"), each);
        each.await();
        EXPECT_TRUE(each.body.empty() || each.calls.front() == "response 200") << header;
        EXPECT_TRUE(!each.body.empty() || each.errorCode) << header;
    }
}

TEST_F(HttpCurlFailureTest, DamagedFraming) {
    for (const char* header :
         {"Content-Length: -1", "Content-Length: x", "Content-Length: 99999999999999999999",
          "Content-Length: 4\r\nContent-Length: 5"}) {
        server.expect({.answer = sendAndClose(std::string("HTTP/1.1 200 OK\r\n") + header + "\r\n\r\nbody")});
        Testing::RecordingDelegate each;
        auto http = transport(server.port());
        const auto task = http.start(request("feed"), each);
        each.await();
        EXPECT_TRUE(each.errorCode || each.body == "body") << header;
    }
    const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    expectErrorOf(UrlErrorCode::connectionLost, sendAndClose(chunked + "no number\r\n"));
    expectErrorOf(UrlErrorCode::connectionLost, sendAndClose(chunked + "FFFFFFFFFFFFFFFFF\r\n"));
    expectErrorOf(UrlErrorCode::badServerResponse, sendAndClose(chunked + "0\r\nHTTP/1.1 500 No\r\n\r\n"));
}

TEST_F(HttpCurlFailureTest, HeaderWithoutEnd) {
    expectErrorOf(UrlErrorCode::badServerResponse, [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\n");
        peer.sendForever("X-Again: and again\r\n");
    });
    expectErrorOf(UrlErrorCode::badServerResponse, [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\nX-Long: ");
        peer.sendForever(std::string(1000, 'x'));
    });
    expectErrorOf(UrlErrorCode::badServerResponse,
                  [](ScriptedPeer& peer) { peer.sendForever("HTTP/1.1 100 Continue\r\n\r\n"); });
    const std::vector<std::string> nothingElse = {"completed"};
    EXPECT_EQ(last, nothingElse);
}

TEST_F(HttpCurlFailureTest, TrailersWithoutEnd) {
    expectErrorOf(UrlErrorCode::badServerResponse, [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n0\r\n");
        peer.sendForever("X-Again: and again\r\n");
    });
}

TEST_F(HttpCurlFailureTest, SilenceEndsItWhereverItComes) {
    timeouts.idle = std::chrono::milliseconds(400);
    for (const char* text : {"", "HTTP", "HTTP/1.1 200 OK\r\nContent-Le", "HTTP/1.1 100 Continue\r\n\r\n",
                             "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf",
                             "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n0\r\n"}) {
        expectErrorOf(UrlErrorCode::timedOut, sendAndWait(text));
        EXPECT_EQ(last.back(), "completed") << text;
    }
}

TEST_F(HttpCurlFailureTest, SilenceBehindTheConnectionEndsIt) {
    const Rehearsal::LoopbackListener silent;
    auto http = transport(silent.port(), {.idle = std::chrono::milliseconds(400)});
    fetchBy(http);
    expectError(UrlErrorCode::timedOut);
}

// More time passes than a silence may last, but nearly twenty bytes come within any such time.
TEST_F(HttpCurlFailureTest, SlownessIsNotSilence) {
    timeouts.idle = std::chrono::milliseconds(1500);
    server.expect({.answer = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\nX-Slow: ");
        for (const char byte : std::string("header\r\n\r\nslow bytes")) {
            peer.pause(std::chrono::milliseconds(80));
            peer.send({&byte, 1});
        }
    }});
    fetch();
    EXPECT_EQ(delegate.body, "slow bytes");
    EXPECT_EQ(delegate.answer.header("X-Slow"), "header");
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

TEST_F(HttpCurlFailureTest, WholeTimeIsLimitedHoweverMuchComes) {
    timeouts.whole = std::chrono::milliseconds(500);
    expectErrorOf(UrlErrorCode::timedOut, [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\n\r\n");
        peer.sendForever(std::string(10'000, 'x'));
    });
    expectErrorOf(UrlErrorCode::timedOut, sendAndWait("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf"));
}

TEST_F(HttpCurlFailureTest, WholeTimeCountsRedirects) {
    timeouts.whole = std::chrono::milliseconds(1000);
    server.expect({}, Testing::redirectTo("/new"));
    expectErrorOf(UrlErrorCode::timedOut, sendAndWait(""));
    const std::vector<std::string> calls = {"redirect https://dist.test/new", "completed"};
    EXPECT_EQ(last, calls);
}

} // namespace

} // namespace InstallerCore
