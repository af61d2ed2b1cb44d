#include "tests/hosts/linux/HttpCurlFixture.h"

namespace InstallerCore {

namespace {

using Disposition = HttpDelegate::Disposition;
using Testing::okResponse;
using Testing::ScriptedPeer;

class HttpCurlTest : public Testing::HttpCurlFixture {};

TEST_F(HttpCurlTest, WaitsAsLongAsEveryShippedProgramDoes) {
    EXPECT_EQ(HttpCurl().timeouts().idle, std::chrono::seconds(30));
    EXPECT_EQ(HttpCurl().timeouts().whole, std::chrono::seconds(604'800));
}

TEST_F(HttpCurlTest, AnswerIsDeliveredInOrder) {
    server.expect({"GET /feed?x=1 HTTP/1.1", "Host: dist.test"}, okResponse("version: 1.4.2"));
    fetch("feed?x=1");
    expectCalls({"response 200", "data", "completed"});
    EXPECT_EQ(delegate.body, "version: 1.4.2");
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

TEST_F(HttpCurlTest, AnswerWithoutBodyHasNoData) {
    server.expect({}, okResponse(""));
    fetch();
    expectCalls({"response 200", "completed"});
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

TEST_F(HttpCurlTest, EveryStatusIsAResponse) {
    for (const int status : {200, 206, 300, 304, 400, 403, 404, 416, 500, 503, 599}) {
        server.expect({}, "HTTP/1.1 " + std::to_string(status) + " Whatever\r\nContent-Length: 0\r\n\r\n");
        Testing::RecordingDelegate each;
        auto http = transport(server.port());
        const auto task = http.start(request("feed"), each);
        each.await();
        EXPECT_EQ(each.answer.status, status);
        EXPECT_EQ(each.errorCode, std::nullopt) << status;
    }
}

TEST_F(HttpCurlTest, RequestHasTheGivenHeadersAndLittleElse) {
    server.expect({.lines = {"Range: bytes=5-", "If-Range: \"a b\"", "Accept-Encoding: identity"},
                   .absent = {"Cookie", "Authorization", "User-Agent", "Referer"},
                   .answer = [](ScriptedPeer& peer) { peer.send(okResponse("x")); }});
    fetch("feed", {{.name = "Accept-Encoding", .value = "identity"},
                   {.name = "Range", .value = "bytes=5-"},
                   {.name = "If-Range", .value = "\"a b\""}});
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

TEST_F(HttpCurlTest, AddressIsFetchedAsWritten) {
    server.expect({"GET /a/./b/../c//d%2Fe?f/../g HTTP/1.1"}, okResponse("x"));
    fetch("a/./b/../c//d%2Fe?f/../g");
    EXPECT_EQ(delegate.body, "x");
}

TEST_F(HttpCurlTest, HeadersAreFoundWithoutCaseAndJoined) {
    server.expect({}, "HTTP/1.1 200 OK\r\netag: \"v1\"\r\nX-A:  one \r\nx-a: two\r\n"
                      "X-Fold: a\r\n  b\r\n \r\nContent-Length: 0\r\n\r\n");
    fetch();
    EXPECT_EQ(delegate.answer.header("ETag"), "\"v1\"");
    EXPECT_EQ(delegate.answer.header("X-A"), "one, two");
    EXPECT_EQ(delegate.answer.header("X-Fold"), "a b");
    EXPECT_EQ(delegate.answer.header("Content-Length"), "0");
    EXPECT_EQ(delegate.answer.header("Absent"), std::nullopt);
}

TEST_F(HttpCurlTest, InterimAnswersAreNotTheResponse) {
    server.expect({}, "HTTP/1.1 100 Continue\r\n\r\n"
                      "HTTP/1.1 103 Early Hints\r\nETag: \"hint\"\r\nLocation: /elsewhere\r\n\r\n" +
                          okResponse("body"));
    fetch();
    expectCalls({"response 200", "data", "completed"});
    EXPECT_EQ(delegate.answer.header("ETag"), std::nullopt);
    EXPECT_EQ(delegate.body, "body");
}

TEST_F(HttpCurlTest, SwitchOfProtocolsThatNobodyAskedForIsTheResponse) {
    server.expect({.answer = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 101 Switching Protocols\r\nUpgrade: x\r\n\r\nwhatever");
        peer.close();
    }});
    fetch();
    ASSERT_FALSE(delegate.calls.empty());
    EXPECT_EQ(delegate.calls.front(), "response 101");
}

TEST_F(HttpCurlTest, ChunkedBodyIsPutTogetherAndItsTrailersAreNotHeaders) {
    server.expect({}, "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nTrailer: ETag\r\n\r\n"
                      "4\r\nbody\r\n6;ext=1\r\n parts\r\n0\r\nETag: \"late\"\r\n\r\n");
    fetch();
    expectCalls({"response 200", "data", "completed"});
    EXPECT_EQ(delegate.answer.header("ETag"), std::nullopt);
    EXPECT_EQ(delegate.body, "body parts");
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

TEST_F(HttpCurlTest, BodyUntilTheConnectionClosesIsWhole) {
    server.expect({.answer = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\n\r\nall of it");
        peer.close();
    }});
    fetch();
    EXPECT_EQ(delegate.body, "all of it");
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

TEST_F(HttpCurlTest, AnswerBySingleBytesIsTheSame) {
    server.expect({.answer = [](ScriptedPeer& peer) {
        for (const char byte : "HTTP/1.1 103 Hint\r\nA: 1\r\n\r\n" + okResponse("body")) {
            peer.send({&byte, 1});
        }
    }});
    fetch();
    expectCalls({"response 200", "data", "completed"});
    EXPECT_EQ(delegate.body, "body");
}

TEST_F(HttpCurlTest, EachByteArrivesWhenItIsSent) {
    server.expect({.answer = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n");
        peer.drip("bytes");
    }});
    std::vector<std::size_t> sizes;
    delegate.onData = [&](ByteView chunk) {
        sizes.push_back(chunk.size());
        server.release();
        return Disposition::allow;
    };
    fetch();
    EXPECT_EQ(sizes, std::vector<std::size_t>(5, 1));
    EXPECT_EQ(delegate.body, "bytes");
}

TEST_F(HttpCurlTest, RefusedResponseHasNoData) {
    server.expect({.answer = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\n\r\n");
        peer.sendForever("body");
    }});
    delegate.onResponse = [](const HttpResponse&) { return Disposition::cancel; };
    fetch();
    expectCalls({"response 200", "completed"});
    expectError(UrlErrorCode::cancelled);
}

TEST_F(HttpCurlTest, RefusedDataIsTheLast) {
    server.expect({.answer = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\n\r\n");
        peer.sendForever(std::string(10'000, 'x'));
    }});
    int pieces = 0;
    delegate.onData = [&](ByteView) { return ++pieces == 3 ? Disposition::cancel : Disposition::allow; };
    fetch();
    EXPECT_EQ(pieces, 3);
    expectCalls({"response 200", "data", "completed"});
    expectError(UrlErrorCode::cancelled);
}

TEST_F(HttpCurlTest, CompressionIsNeitherAskedForNorUndone) {
    server.expect({}, "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 4\r\n\r\n\x1F\x8B\x08.");
    fetch("feed", {{.name = "Accept-Encoding", .value = "identity"}});
    EXPECT_EQ(delegate.body, "\x1F\x8B\x08.");
    EXPECT_EQ(delegate.errorCode, std::nullopt);
}

TEST_F(HttpCurlTest, TransfersAtOnceDoNotMeet) {
    auto http = transport(server.port());
    constexpr int count = 8;
    for (int i = 0; i < count; ++i) {
        server.expect({}, okResponse(std::string(100'000, 'x')));
    }
    std::vector<std::unique_ptr<Testing::RecordingDelegate>> delegates;
    std::vector<std::unique_ptr<HttpTask>> tasks;
    for (int i = 0; i < count; ++i) {
        delegates.push_back(std::make_unique<Testing::RecordingDelegate>());
        tasks.push_back(http.start(request("feed"), *delegates.back()));
    }
    for (const auto& each : delegates) {
        each->await();
        EXPECT_EQ(each->body.size(), 100'000U);
        EXPECT_EQ(each->errorCode, std::nullopt);
    }
}

} // namespace

} // namespace InstallerCore
