#include "hosts/linux/HttpCurl.h"
#include "tests/hosts/linux/HttpCurlFixture.h"

#include <utility>

namespace InstallerCore {

namespace {

using Disposition = HttpDelegate::Disposition;
using Testing::okResponse;
using Testing::redirectTo;
using Testing::ScriptedPeer;

class HttpCurlRedirectTest : public Testing::HttpCurlFixture {};

TEST_F(HttpCurlRedirectTest, EveryKindOfRedirectIsFollowed) {
    for (const char* status : {"301 Moved", "302 Found", "303 Other", "307 Temporary", "308 Permanent"}) {
        server.expect({"GET /feed HTTP/1.1"}, std::string("HTTP/1.1 ") + status +
                                                  "\r\nLocation: https://dist.test/new\r\n"
                                                  "ETag: \"old\"\r\nContent-Length: 3\r\n\r\nold");
        server.expect({"GET /new HTTP/1.1"}, okResponse("new"));
        Testing::RecordingDelegate each;
        auto http = transport(server.port());
        const auto task = http.start(request("feed"), each);
        each.await();
        const std::vector<std::string> calls = {"redirect https://dist.test/new", "response 200", "data",
                                                "completed"};
        EXPECT_EQ(each.calls, calls) << status;
        EXPECT_EQ(each.body, "new") << status;
        EXPECT_EQ(each.answer.header("ETag"), std::nullopt) << status;
        EXPECT_EQ(each.errorCode, std::nullopt) << status;
    }
}

TEST_F(HttpCurlRedirectTest, EveryRequestCarriesTheSameHeadersAndNoMore) {
    const std::vector<std::string> lines = {"Range: bytes=5-", "If-Range: \"v1\"",
                                            "Accept-Encoding: identity"};
    const auto answerWith = [](const std::string& text) {
        return [text](ScriptedPeer& peer) { peer.send(text); };
    };
    const std::vector<std::string> absent = {"Cookie", "Referer", "Authorization"};
    server.expect({.lines = lines,
                   .absent = absent,
                   .answer = answerWith("HTTP/1.1 302 Found\r\nSet-Cookie: a=b; Secure\r\n"
                                        "Location: https://mykavio.test/x\r\nContent-Length: 0\r\n\r\n")});
    server.expect(
        {.lines = lines, .absent = absent, .answer = answerWith(redirectTo("https://dist.test/y"))});
    server.expect({.lines = lines, .absent = absent, .answer = answerWith(okResponse("x"))});
    fetch("feed", {{.name = "Accept-Encoding", .value = "identity"},
                   {.name = "Range", .value = "bytes=5-"},
                   {.name = "If-Range", .value = "\"v1\""}});
    EXPECT_EQ(delegate.body, "x");
    ASSERT_EQ(server.requests().size(), 3U);
    EXPECT_NE(server.requests()[1].find("\r\nHost: mykavio.test\r\n"), std::string::npos);
}

TEST_F(HttpCurlRedirectTest, RelativeLocationIsResolved) {
    const std::pair<const char*, const char*> cases[] = {
        {"new", "https://dist.test/a/new"},         {"../new", "https://dist.test/new"},
        {"/new?x=1", "https://dist.test/new?x=1"},  {"//mykavio.test/new", "https://mykavio.test/new"},
        {"?x=1", "https://dist.test/a/feed?x=1"},   {"new#part", "https://dist.test/a/new#part"},
        {"HTTP://Evil.test/", "HTTP://Evil.test/"},
    };
    for (const auto& [location, address] : cases) {
        server.expect({}, redirectTo(location));
        Testing::RecordingDelegate each;
        each.onRedirect = [](const std::string&) { return Disposition::cancel; };
        auto http = transport(server.port());
        const auto task = http.start(request("a/feed"), each);
        each.await();
        const std::vector<std::string> calls = {std::string("redirect ") + address, "response 302",
                                                "completed"};
        EXPECT_EQ(each.calls, calls);
    }
}

TEST_F(HttpCurlRedirectTest, NextLocationIsResolvedAgainstTheLastAddress) {
    server.expect({"GET /feed HTTP/1.1"}, redirectTo("https://mykavio.test/a/b"));
    server.expect({"GET /a/b HTTP/1.1", "Host: mykavio.test"}, redirectTo("c"));
    server.expect({"GET /a/c HTTP/1.1", "Host: mykavio.test"}, okResponse("x"));
    fetch();
    expectCalls({"redirect https://mykavio.test/a/b", "redirect https://mykavio.test/a/c", "response 200",
                 "data", "completed"});
}

TEST_F(HttpCurlRedirectTest, RedirectWithoutLocationIsTheResponse) {
    server.expect({}, "HTTP/1.1 302 Found\r\nContent-Length: 4\r\n\r\nbody");
    fetch();
    expectCalls({"response 302", "data", "completed"});
    EXPECT_EQ(delegate.body, "body");
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

TEST_F(HttpCurlRedirectTest, LocationOfAnotherStatusIsNotFollowed) {
    server.expect({}, "HTTP/1.1 201 Created\r\nLocation: /new\r\nContent-Length: 0\r\n\r\n");
    fetch();
    expectCalls({"response 201", "completed"});
}

TEST_F(HttpCurlRedirectTest, LocationThatDoesNotParseIsAskedAboutAndThenTheResponse) {
    for (const char* location : {"https://dist.test/a b", "https://dist.test\\@evil.test/", "https://[::1/",
                                 "/new\r\nLocation: /newer", "https://dist.test/\xC3\xA9", "/100%"}) {
        server.expect({}, redirectTo(location));
        Testing::RecordingDelegate each;
        auto http = transport(server.port());
        const auto task = http.start(request("feed"), each);
        each.await();
        const std::vector<std::string> calls = {"redirect ", "response 302", "completed"};
        EXPECT_EQ(each.calls, calls) << location;
        EXPECT_EQ(each.errorCode, std::nullopt) << location;
    }
}

TEST_F(HttpCurlRedirectTest, RefusedRedirectIsTheResponseWithItsBody) {
    server.expect({}, "HTTP/1.1 307 Temporary\r\nLocation: https://evil.test/\r\n"
                      "Content-Length: 5\r\n\r\nmoved");
    delegate.onRedirect = [](const std::string&) { return Disposition::cancel; };
    fetch();
    expectCalls({"redirect https://evil.test/", "response 307", "data", "completed"});
    EXPECT_EQ(delegate.body, "moved");
    EXPECT_EQ(delegate.answer.header("Location"), "https://evil.test/");
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

TEST_F(HttpCurlRedirectTest, TwentyAreFollowed) {
    for (int i = 0; i < HttpCurl::mostRedirects; ++i) {
        server.expect({}, redirectTo("/" + std::to_string(i)));
    }
    server.expect({"GET /19 HTTP/1.1"}, okResponse("there"));
    fetch();
    EXPECT_EQ(HttpCurl::mostRedirects, 20);
    EXPECT_EQ(delegate.calls.size(), 23U);
    EXPECT_EQ(delegate.body, "there");
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

TEST_F(HttpCurlRedirectTest, TwentyFirstEndsIt) {
    for (int i = 0; i <= HttpCurl::mostRedirects; ++i) {
        server.expect({}, redirectTo("/feed"));
    }
    fetch();
    EXPECT_EQ(server.requests().size(), 21U);
    EXPECT_EQ(delegate.calls.back(), "completed");
    EXPECT_EQ(delegate.body, "");
    expectError(UrlErrorCode::tooManyRedirects);
}

TEST_F(HttpCurlRedirectTest, BodyOfFollowedRedirectIsNotWaitedFor) {
    server.expect({.answer = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 302 Found\r\nLocation: /endless\r\n\r\n");
        peer.sendForever(std::string(1000, 'x'));
    }});
    server.expect({.answer = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 302 Found\r\nLocation: /silent\r\nContent-Length: 1\r\n\r\n");
        peer.untilGone();
    }});
    server.expect({"GET /silent HTTP/1.1"}, okResponse("there"));
    fetch();
    expectCalls({"redirect https://dist.test/endless", "redirect https://dist.test/silent", "response 200",
                 "data", "completed"});
    EXPECT_EQ(delegate.body, "there");
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

TEST_F(HttpCurlRedirectTest, ConnectionLostBehindFollowedRedirectIsNoError) {
    server.expect({.answer = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 302 Found\r\nLocation: /new\r\nContent-Length: 9\r\n\r\nold");
        peer.reset();
    }});
    server.expect({}, okResponse("new"));
    fetch();
    EXPECT_EQ(delegate.body, "new");
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

} // namespace

} // namespace InstallerCore
